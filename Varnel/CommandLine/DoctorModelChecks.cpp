#include "Varnel/CommandLine/DoctorChecks.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/ModelVerification.h"
#include "Varnel/CommandLine/ModelsCommand.h"
#include "VarnelSpeech/Inference/OnnxRuntime.h"

#include <fmt/format.h>

#include <algorithm>

namespace Varnel::CommandLine {

namespace {

Finding checkRuntime() {
    namespace OnnxRuntime = VarnelSpeech::OnnxRuntime;
    try {
        const auto& library = OnnxRuntime::library();
        std::string providers;
        for (const std::string& provider : OnnxRuntime::availableProviders())
            providers += (providers.empty() ? "" : ", ") + provider;
        return {Finding::Kind::ok, "inference runtime",
                fmt::format("ONNX Runtime {} ({}), {}", library.version, providers, library.path.string()), ""};
    } catch (const std::exception& error) {
        return {Finding::Kind::problem, "inference runtime", describe(error),
                "Install libonnxruntime, or set VARNEL_ONNXRUNTIME to its shared library."};
    }
}

} // namespace

std::vector<Finding> checkModels(CommandContext& context) {
    std::vector<Finding> findings{checkRuntime()};
    try {
        const ModelSets::InUse inUse = context.modelsInUse();
        for (const ModelPart& part : modelParts)
            for (const ModelVerdict& verdict : verifyModels(inUse.set, part.repo))
                if (!verdict.isGood())
                    findings.push_back({Finding::Kind::problem, "models",
                                        fmt::format("{} ({}): {}", verdict.name, part.purpose, verdict.problem),
                                        inUse.set.kind == ModelSet::Kind::hub
                                            ? "Run 'varnel models fetch'."
                                            : "Choose another set with 'varnel models use'."});
        if (findings.size() > 1)
            return findings;
        if (inUse.set.kind == ModelSet::Kind::starter)
            findings.push_back(
                {Finding::Kind::note, "models",
                 fmt::format("the starter models are in use ({}): small networks that make many mistakes",
                             inUse.set.root.string()),
                 "Run 'varnel models fetch' for the full ones (needs the internet)."});
        else
            findings.push_back(
                {Finding::Kind::ok, "models",
                 fmt::format("{}, in {}", Varnel::name(inUse.set).toStdString(), inUse.set.root.string()), ""});
    } catch (const std::exception& error) {
        findings.push_back({Finding::Kind::problem, "models", describe(error), "Run 'varnel models list'."});
    }
    const ModelSet hub = context.modelSets().hub();
    if (std::any_of(modelParts.begin(), modelParts.end(), [&](const ModelPart& part) {
            return VarnelSpeech::DownloadUtils::isFetchUnfinished(hub.folder(part.repo));
        }))
        findings.push_back({Finding::Kind::note, "models", "a fetch of the hub's models was cut off",
                            "Run 'varnel models fetch': it goes on where it ended."});
    return findings;
}

} // namespace Varnel::CommandLine
