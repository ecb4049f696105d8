#include "VarnelSpeech/Asr/DecoderProjection.h"

#include "VarnelSpeech/Asr/ASRError.h"
#include "VarnelSpeech/Asr/StridedCopy.h"

namespace VarnelSpeech {

namespace {

std::string joinedByX(const MLShape& shape) {
    std::string text;
    for (const std::int64_t size : shape) {
        text += (text.empty() ? "" : "x") + std::to_string(size);
    }
    return text;
}

void checkProjection(const MLMultiArray& projection) {
    const MLShape& shape = projection.shape();
    if (shape.size() != 3) {
        throw ASRError::processingFailed("Invalid decoder projection rank: " + describe(shape));
    }
    if (shape[0] != 1) {
        throw ASRError::processingFailed("Unsupported decoder batch dimension: " + std::to_string(shape[0]));
    }
    if (projection.dataType() != MLMultiArrayDataType::float32) {
        throw ASRError::processingFailed(std::string("Unsupported decoder projection type: ") +
                                         name(projection.dataType()));
    }
}

void checkDestination(const MLMultiArray& destination) {
    const MLShape& shape = destination.shape();
    const bool fits = shape.size() == 3 && shape[0] == 1 && shape[1] == decoderHiddenSize && shape[2] == 1;
    if (!fits || destination.dataType() != MLMultiArrayDataType::float32) {
        throw ASRError::processingFailed("Prepared decoder step shape mismatch: " + joinedByX(shape));
    }
}

std::size_t hiddenAxis(const MLShape& shape) {
    const std::size_t axis = shape[2] == decoderHiddenSize ? 2 : 1;
    if (shape[axis] != decoderHiddenSize) {
        throw ASRError::processingFailed("Decoder projection hidden size mismatch: " + describe(shape));
    }
    if (shape[3 - axis] != 1) {
        throw ASRError::processingFailed("Decoder projection time axis must be 1: " + describe(shape));
    }
    return axis;
}

} // namespace

void normalizeDecoderProjection(const MLMultiArray& projection, MLMultiArray& destination) {
    checkProjection(projection);
    checkDestination(destination);
    const std::size_t axis = hiddenAxis(projection.shape());

    const std::int64_t stride = projection.strides()[axis];
    const std::int64_t destinationStride = destination.strides()[1];
    if (!fitsInt32(destinationStride)) {
        throw ASRError::processingFailed("Decoder destination stride exceeds supported range");
    }
    if (!fitsInt32(stride)) {
        throw ASRError::processingFailed("Decoder projection stride exceeds supported range");
    }

    // Offset of value 0, and of the value farthest from it, from the data pointer.
    const std::int64_t reach = (decoderHiddenSize - 1) * stride;
    const bool fromLowest = stride < 0 && projection.origin() == MLDataOrigin::lowestAddress;
    const std::int64_t base = fromLowest ? -reach : 0;
    const std::int64_t span = (stride < 0 ? -reach : reach) + 1;
    if (span > projection.capacity()) {
        throw ASRError::processingFailed("Decoder projection stride exceeds buffer bounds");
    }
    copyFloats(projection.data<float>() + base, stride, destination.data<float>(), destinationStride,
               decoderHiddenSize);
}

} // namespace VarnelSpeech
