#pragma once

#include "support/OnnxModelBuilder.h"

// Networks small enough to work out by hand.
namespace VarnelSpeech::Testing::TinyOnnxModels {

// "y" = "x", which the runtime may try to share.
OnnxModelBuilder identity(const OnnxModelBuilder::Shape& shape, OnnxElementType type = OnnxElementType::float32);

// "sum" = "a" + "b".
OnnxModelBuilder addition(const OnnxModelBuilder::Shape& shape, OnnxElementType type = OnnxElementType::float32);

// A recurrent step of `size` values: in "x", "h_in", "c_in"; out "y" = h_in + c_in + x, "h_out" = 2 h_in + x + c_in and
// "c_out" = h_in - c_in, each [2, 1, size]. The last node of either new state reads both old ones, so that whichever
// is written over its old self first spoils the other.
OnnxModelBuilder recurrentStep(std::int64_t size);

// "x" [1, size] float32 to "index" [1, 1] int32, the position of the largest value, and "value" [1, 1].
OnnxModelBuilder largest(std::int64_t size);

// "x" [-1] to "twice" [-1] with 2 x, and "total" [], their sum: an output whose shape depends on the input, and one
// without dimensions.
OnnxModelBuilder freeLength();

} // namespace VarnelSpeech::Testing::TinyOnnxModels
