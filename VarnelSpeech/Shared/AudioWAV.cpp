#include "VarnelSpeech/Shared/AudioWAV.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

namespace VarnelSpeech::AudioWAV {

namespace {

constexpr std::uint32_t headBytes = 44;
constexpr std::uint32_t bytesPerFrame = 2;

class LittleEndianWriter {
public:
    explicit LittleEndianWriter(std::size_t bytes) { bytes_.reserve(bytes); }

    void tag(std::string_view text) {
        for (const char letter : text)
            bytes_.push_back(static_cast<std::byte>(letter));
    }

    template <typename Integer>
    void integer(Integer value) {
        for (std::size_t shift = 0; shift < 8 * sizeof(Integer); shift += 8)
            bytes_.push_back(static_cast<std::byte>(value >> shift & 0xFFU));
    }

    std::vector<std::byte> take() { return std::move(bytes_); }

private:
    std::vector<std::byte> bytes_;
};

std::int16_t quantised(float sample) {
    const float limited = std::isnan(sample) ? 0.0F : std::clamp(sample, -1.0F, 1.0F);
    return static_cast<std::int16_t>(limited * 32767.0F);
}

} // namespace

std::vector<std::byte> data(std::span<const float> samples, double sampleRate) {
    constexpr std::size_t mostSamples = (std::numeric_limits<std::uint32_t>::max() - headBytes) / bytesPerFrame;
    if (samples.size() > mostSamples || !(sampleRate >= 1 && sampleRate <= std::numeric_limits<std::int32_t>::max()))
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);

    const auto dataBytes = static_cast<std::uint32_t>(samples.size()) * bytesPerFrame;
    const auto rate = static_cast<std::uint32_t>(sampleRate);
    LittleEndianWriter writer(headBytes + dataBytes);
    writer.tag("RIFF");
    writer.integer(headBytes - 8 + dataBytes);
    writer.tag("WAVE");
    writer.tag("fmt ");
    writer.integer(std::uint32_t{16});
    writer.integer(std::uint16_t{1}); // integer PCM
    writer.integer(std::uint16_t{1}); // channels
    writer.integer(rate);
    writer.integer(rate * bytesPerFrame);
    writer.integer(static_cast<std::uint16_t>(bytesPerFrame));
    writer.integer(std::uint16_t{16}); // bits a sample
    writer.tag("data");
    writer.integer(dataBytes);
    for (const float sample : samples)
        writer.integer(static_cast<std::uint16_t>(quantised(sample)));
    return writer.take();
}

} // namespace VarnelSpeech::AudioWAV
