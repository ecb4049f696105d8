#include "VarnelSpeech/Asr/EncoderFrameView.h"

#include "VarnelSpeech/Asr/ASRError.h"
#include "VarnelSpeech/Asr/StridedCopy.h"

#include <algorithm>

namespace VarnelSpeech {

static_assert(fitsInt32(EncoderFrameView::hiddenSize), "Hidden size exceeds supported range");

namespace {

// From the data pointer to index 0 of an axis.
std::int64_t baseOffset(const MLMultiArray& tensor, std::size_t axis) {
    const std::int64_t stride = tensor.strides()[axis];
    if (stride >= 0 || tensor.origin() == MLDataOrigin::firstElement) {
        return 0;
    }
    return -(tensor.shape()[axis] - 1) * stride;
}

} // namespace

EncoderFrameView::EncoderFrameView(std::shared_ptr<const MLMultiArray> encoderOutput,
                                   std::int64_t encoderSequenceLength)
    : tensor_(std::move(encoderOutput)) {
    const MLShape& shape = tensor_->shape();
    if (shape.size() != 3) {
        throw ASRError::processingFailed("Invalid encoder output shape: " + describe(shape));
    }
    if (shape[0] != 1) {
        throw ASRError::processingFailed("Unsupported batch dimension: " + std::to_string(shape[0]));
    }
    if (shape[1] == hiddenSize) {
        hiddenAxis_ = 1;
        timeAxis_ = 2;
    } else if (shape[2] == hiddenSize) {
        hiddenAxis_ = 2;
        timeAxis_ = 1;
    } else {
        throw ASRError::processingFailed("Encoder hidden size mismatch: " + describe(shape));
    }
    count_ = std::min(shape[timeAxis_], encoderSequenceLength);
    if (count_ < 1) {
        throw ASRError::processingFailed("Encoder output has no frames");
    }
    if (tensor_->dataType() != MLMultiArrayDataType::float32) {
        throw ASRError::processingFailed(std::string("Unsupported encoder output type: ") + name(tensor_->dataType()));
    }
    timeStride_ = tensor_->strides()[timeAxis_];
    hiddenStride_ = tensor_->strides()[hiddenAxis_];
    timeBaseOffset_ = baseOffset(*tensor_, timeAxis_);
    hiddenBaseOffset_ = baseOffset(*tensor_, hiddenAxis_);
    basePointer_ = tensor_->data<float>();
}

void EncoderFrameView::copyFrame(std::int64_t index, float* destination, std::int64_t destinationStride) const {
    if (index < 0 || index >= count_) {
        throw ASRError::processingFailed("Encoder frame index out of range: " + std::to_string(index));
    }
    if (hiddenStride_ == 0) {
        throw ASRError::processingFailed("Invalid hidden stride: 0");
    }
    if (!fitsInt32(hiddenStride_)) {
        throw ASRError::processingFailed("Hidden stride exceeds supported range");
    }
    if (!fitsInt32(destinationStride)) {
        throw ASRError::processingFailed("Destination stride exceeds supported range");
    }
    const float* source = basePointer_ + timeBaseOffset_ + hiddenBaseOffset_ + index * timeStride_;
    copyFloats(source, hiddenStride_, destination, destinationStride, hiddenSize);
}

} // namespace VarnelSpeech
