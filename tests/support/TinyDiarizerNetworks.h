#pragma once

#include "support/OnnxModelBuilder.h"

#include <cstdint>
#include <string>
#include <vector>

// The chunked diarizer's two networks, small enough to work out by hand, for the real runtime.
namespace VarnelSpeech::Testing::TinyDiarizerNetworks {

struct Input {
    std::string name;
    OnnxModelBuilder::Shape shape;
    OnnxElementType type = OnnxElementType::float32;
};

// A network of any inputs whose output is zeros.
OnnxModelBuilder constant(const std::vector<Input>& inputs, const std::string& output,
                          const OnnxModelBuilder::Shape& shape);

// 592 frames; the first speaker speaks in the first half of every window, the second in the other.
OnnxModelBuilder segmentation();

// A voice that tells where in the window its mask is: 1 in each of the first 128 values for a mask in the first half,
// and in each of the others for one in the second. -1 frames: any number.
OnnxModelBuilder embedding(std::int64_t frames = 592);

} // namespace VarnelSpeech::Testing::TinyDiarizerNetworks
