#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <cstdint>
#include <memory>

namespace VarnelSpeech {

// The encoder's output as a row of frames, whichever of its two layouts it has: [1, 1024, T] or [1, T, 1024].
// A view: it keeps the tensor alive and copies nothing until a frame is asked for. Strides and offsets are in
// elements.
class EncoderFrameView {
public:
    static constexpr std::int64_t hiddenSize = 1024;

    // Throws ASRError (processingFailed) for a tensor of another rank, batch size, hidden size or type, and for one
    // without frames.
    EncoderFrameView(std::shared_ptr<const MLMultiArray> encoderOutput, std::int64_t encoderSequenceLength);

    // Usable frames: what the tensor holds, at most the encoder's own length.
    std::int64_t count() const { return count_; }

    std::size_t timeAxis() const { return timeAxis_; }

    std::size_t hiddenAxis() const { return hiddenAxis_; }

    std::int64_t timeStride() const { return timeStride_; }

    std::int64_t hiddenStride() const { return hiddenStride_; }

    // From the tensor's data pointer to frame 0; not 0 only where that pointer is the lowest address and time runs
    // towards it.
    std::int64_t timeBaseOffset() const { return timeBaseOffset_; }

    // Writes the 1024 values of one frame. Throws ASRError for an index outside 0..<count and for strides that
    // cannot be copied.
    void copyFrame(std::int64_t index, float* destination, std::int64_t destinationStride) const;

private:
    std::shared_ptr<const MLMultiArray> tensor_;
    std::size_t timeAxis_ = 0;
    std::size_t hiddenAxis_ = 0;
    std::int64_t count_ = 0;
    std::int64_t timeStride_ = 0;
    std::int64_t hiddenStride_ = 0;
    std::int64_t timeBaseOffset_ = 0;
    std::int64_t hiddenBaseOffset_ = 0;
    const float* basePointer_ = nullptr;
};

} // namespace VarnelSpeech
