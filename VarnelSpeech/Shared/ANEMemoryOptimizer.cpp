#include "VarnelSpeech/Shared/ANEMemoryOptimizer.h"

#include "VarnelSpeech/Inference/TensorMemory.h"

#include <cstring>

namespace VarnelSpeech {

using ANEMemoryUtils::ANEMemoryError;

std::shared_ptr<MLMultiArray> ANEMemoryOptimizer::getBuffer(const std::string& key, const MLShape& shape,
                                                            MLMultiArrayDataType type) {
    const std::lock_guard lock(bufferLock_);
    const auto pooled = bufferPool_.find(key);
    if (pooled != bufferPool_.end() && pooled->second->shape() == shape && pooled->second->dataType() == type)
        return pooled->second;
    std::shared_ptr<MLMultiArray> made = ANEMemoryUtils::createAlignedArray(shape, type);
    bufferPool_.insert_or_assign(key, made);
    return made;
}

std::shared_ptr<MLMultiArray> ANEMemoryOptimizer::createZeroCopyView(const std::shared_ptr<MLMultiArray>& source,
                                                                     std::int64_t offset, const MLShape& shape,
                                                                     const std::optional<MLShape>& strides) {
    return ANEMemoryUtils::createZeroCopyView(source, offset, shape, strides);
}

std::size_t ANEMemoryOptimizer::writableFloats(const MLMultiArray& tensor) {
    if (tensor.dataType() != MLMultiArrayDataType::float32)
        throw ANEMemoryError(ANEMemoryError::Case::unsupportedDataType);
    const TensorExtent reach = extent(tensor.shape(), tensor.strides());
    if (reach.lowest < 0 || reach.end < tensor.count())
        throw ANEMemoryError(ANEMemoryError::Case::invalidShape);
    return static_cast<std::size_t>(tensor.count());
}

std::size_t ANEMemoryOptimizer::optimizedCopy(std::span<const float> samples, MLMultiArray& tensor,
                                              std::size_t offset) {
    const std::size_t limit = writableFloats(tensor);
    if (offset >= samples.size())
        return 0;
    const std::size_t count = std::min(limit, samples.size() - offset);
    if (count > 0)
        std::memmove(tensor.rawData(), samples.data() + offset, count * sizeof(float));
    return count;
}

void ANEMemoryOptimizer::clearBufferPool() {
    const std::lock_guard lock(bufferLock_);
    bufferPool_.clear();
}

} // namespace VarnelSpeech
