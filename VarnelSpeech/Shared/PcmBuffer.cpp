#include "VarnelSpeech/Shared/PcmBuffer.h"

#include "VarnelSpeech/Shared/AudioConverterError.h"

#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace VarnelSpeech {

PcmBuffer::PcmBuffer(const AudioFormat& format, std::size_t frames) : format_(format), frames_(frames) {
    // 32 bits of frames, 32 bits of channels: the product with the sample's size may pass 64 bits.
    const std::size_t frameBytes = format.channels * bytesPerSample(format.sampleType);
    const bool fits = frames <= std::numeric_limits<std::uint32_t>::max() && isValid(format) &&
                      frames <= std::numeric_limits<std::ptrdiff_t>::max() / frameBytes;
    if (!fits)
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);
    try {
        bytes_.resize(frames * frameBytes);
    } catch (const std::bad_alloc&) {
        throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);
    }
}

std::span<const std::byte> PcmBuffer::plane(std::size_t index) const {
    const std::size_t size = bytes_.size() / planeCount();
    return bytes().subspan(index * size, size);
}

std::span<float> PcmBuffer::floatPlane(std::size_t index) {
    const std::span<const float> samples = std::as_const(*this).floatPlane(index);
    return {const_cast<float*>(samples.data()), samples.size()};
}

std::span<const float> PcmBuffer::floatPlane(std::size_t index) const {
    if (format_.sampleType != AudioSampleType::float32)
        return {};
    const std::span<const std::byte> samples = plane(index);
    return {reinterpret_cast<const float*>(samples.data()), samples.size() / sizeof(float)};
}

} // namespace VarnelSpeech
