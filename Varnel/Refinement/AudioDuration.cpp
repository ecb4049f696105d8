#include "Varnel/Refinement/AudioDuration.h"

#include "VarnelSpeech/Shared/AudioFile.h"

#include <cstdint>
#include <exception>
#include <utility>
#include <vector>

namespace Varnel {

namespace {

constexpr std::size_t blockFrames = 16384;

std::uint64_t countFrames(VarnelSpeech::AudioFile& audio) {
    std::vector<float> block(blockFrames * audio.format().channels);
    std::uint64_t frames = 0;
    while (const std::size_t read = audio.read(block))
        frames += read;
    return frames;
}

} // namespace

std::optional<double> audioDuration(const std::filesystem::path& file, std::stop_token stop) {
    try {
        VarnelSpeech::AudioFile audio(file, std::move(stop));
        const std::uint64_t frames = audio.expectedFrames() > 0 ? audio.expectedFrames() : countFrames(audio);
        if (frames == 0)
            return std::nullopt;
        return static_cast<double>(frames) / audio.format().sampleRate;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace Varnel
