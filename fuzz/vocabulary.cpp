// Any bytes as a vocabulary: a table, or one typed error.
#include "ScratchFolder.h"
#include "VarnelSpeech/Asr/AsrModels.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Varnel::ScratchFolder folder;
    folder.write("parakeet_vocab.json", data, size);
    try {
        (void)VarnelSpeech::loadVocabulary(folder.path());
    } catch (const VarnelSpeech::AsrModelsError&) {
    }
    return 0;
}
