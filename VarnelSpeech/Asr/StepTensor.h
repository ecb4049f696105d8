#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <memory>

namespace VarnelSpeech {

// A tensor [1, size, 1] of float32 on aligned memory for one step of a network, its contents undefined; `size` is a
// multiple of 16. Throws ANEOptimizerError.
//
// The aligned allocator pads the innermost axis, which would put 15 unused floats after each value of this shape.
// The runtime takes tensors without gaps only, so the memory is allocated as [1, 1, size] and seen as [1, size, 1]:
// nobody has to copy it once more.
std::shared_ptr<MLMultiArray> makeStepTensor(std::int64_t size);

} // namespace VarnelSpeech
