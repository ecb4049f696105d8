#include "EndToEnd/HubSandbox.h"

#include "support/HubModels.h"

#include <nlohmann/json.hpp>

namespace Varnel::Testing {

HubSandbox::HubSandbox() {
    hub.addFolder("Riogleiz/parakeet-tdt-0.6b-v3-coreml", starterModels());
    hub.addFolder("Riogleiz/speaker-diarization-coreml", starterDiarizer());
    options.environment["REGISTRY_URL"] = hub.url();
}

std::string HubSandbox::encoder() {
    return VarnelSpeech::Testing::hubFilePath(VarnelSpeech::Repo::parakeet, "Encoder.mlmodelc/model.onnx");
}

std::string HubSandbox::setInUse() {
    for (const auto& set : nlohmann::json::parse(output({"models", "list", "--json"})))
        if (set["inUse"] == true)
            return set["set"];
    return "none";
}

} // namespace Varnel::Testing
