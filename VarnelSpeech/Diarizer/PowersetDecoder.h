#pragma once

#include "VarnelSpeech/Diarizer/SpeakerActivity.h"
#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <cstddef>
#include <functional>
#include <memory>

namespace VarnelSpeech::PowersetDecoder {

// Class scores of each frame, [frames, classes] without gaps. A class stands for a set of speakers, in this order:
// nobody; 0; 1; 2; 0 and 1; 0 and 2; 1 and 2. Classes past these count as nobody.
struct Scores {
    const float* values = nullptr;
    std::size_t frames = 0;
    std::size_t classes = 0;
};

// Gives an aligned 32-bit float tensor of a shape, or throws ANEMemoryUtils::ANEMemoryError.
using AlignedBuffer = std::function<std::shared_ptr<MLMultiArray>(const MLShape&)>;

// The speakers of each frame's largest score. Only the order of the scores matters; of equal ones the first wins, and
// one that is no number is never larger than another. Decodes in an aligned buffer; where there is none, as
// decodeScalar, with the same result.
SpeakerActivity decode(const Scores& scores, const AlignedBuffer& buffer);

// Straight into the result. Frames of no classes have nobody.
SpeakerActivity decodeScalar(const Scores& scores);

} // namespace VarnelSpeech::PowersetDecoder
