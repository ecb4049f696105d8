#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"
#include "VarnelSpeech/Shared/ANEMemoryUtils.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace VarnelSpeech {

// Named, reused buffers of the diarizers and the voice activity detector. The pool may be used from any thread; a
// buffer's contents are its user's, and two users of one key at a time share them.
class ANEMemoryOptimizer {
public:
    // The pooled tensor of that key if it has the same shape and type, else a new one, aligned and zero-filled, which
    // takes its place. Throws ANEMemoryUtils::ANEMemoryError.
    std::shared_ptr<MLMultiArray> getBuffer(const std::string& key, const MLShape& shape, MLMultiArrayDataType type);

    // As ANEMemoryUtils::createZeroCopyView.
    std::shared_ptr<MLMultiArray> createZeroCopyView(const std::shared_ptr<MLMultiArray>& source, std::int64_t offset,
                                                     const MLShape& shape, const std::optional<MLShape>& strides = {});

    // Moves samples[offset...], at most as many as the tensor has elements, to the beginning of the tensor's memory
    // as one block. Returns how many. Throws ANEMemoryError: unsupportedDataType for a tensor that is not float32,
    // invalidShape for one whose elements do not span its count from its first element on.
    std::size_t optimizedCopy(std::span<const float> samples, MLMultiArray& tensor, std::size_t offset = 0);

    // The same from a sequence without contiguous storage, element by element.
    template <std::input_iterator Iterator>
    std::size_t optimizedCopy(Iterator first, Iterator last, MLMultiArray& tensor, std::size_t offset = 0);

    void clearBufferPool();

private:
    // Checks the tensor and returns how many floats may be written to its memory.
    static std::size_t writableFloats(const MLMultiArray& tensor);

    std::mutex bufferLock_;
    std::unordered_map<std::string, std::shared_ptr<MLMultiArray>> bufferPool_;
};

template <std::input_iterator Iterator>
std::size_t ANEMemoryOptimizer::optimizedCopy(Iterator first, Iterator last, MLMultiArray& tensor, std::size_t offset) {
    const std::size_t limit = writableFloats(tensor);
    for (; offset > 0 && first != last; --offset)
        ++first;
    std::size_t copied = 0;
    for (auto* destination = tensor.data<float>(); copied < limit && first != last; ++copied, ++first)
        destination[copied] = static_cast<float>(*first);
    return copied;
}

} // namespace VarnelSpeech
