// Any bytes as a bundle's marker: refused with one typed error, never followed out of the bundle.
#include "ScratchFolder.h"
#include "VarnelSpeech/Inference/MLModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Varnel::ScratchFolder folder;
    folder.write("Fuzzed.mlmodelc/coremldata.bin", data, size);
    try {
        (void)VarnelSpeech::loadModel(folder.path() / "Fuzzed.mlmodelc", {});
    } catch (const VarnelSpeech::MLModelError&) {
    }
    return 0;
}
