#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <memory>
#include <vector>

namespace VarnelSpeech::Testing {

// A float32 tensor on its own memory of `elements` floats numbered 0, 1, 2, ..., with any shape and strides; its
// data pointer is `offset` floats in.
inline std::shared_ptr<MLMultiArray> numberedTensor(std::size_t elements, const MLShape& shape, const MLShape& strides,
                                                    std::size_t offset = 0) {
    auto memory = std::make_shared<std::vector<float>>(elements);
    for (std::size_t index = 0; index < elements; ++index) {
        (*memory)[index] = static_cast<float>(index);
    }
    return std::make_shared<MLMultiArray>(memory->data() + offset, shape, MLMultiArrayDataType::float32, strides,
                                          [memory](void*) {});
}

} // namespace VarnelSpeech::Testing
