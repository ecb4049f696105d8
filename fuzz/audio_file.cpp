// Any bytes as an audio file: samples, or one typed error.
#include "ScratchFolder.h"
#include "VarnelSpeech/Shared/AudioConverter.h"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Varnel::ScratchFolder folder;
    const auto file = folder.write("audio", data, size);
    try {
        (void)VarnelSpeech::AudioConverter().resampleAudioFile(file);
    } catch (const std::runtime_error&) {
    }
    return 0;
}
