#pragma once

#include "Varnel/Refinement/TranscriptOutput.h"
#include "VarnelSpeech/Asr/ASRResult.h"
#include "VarnelSpeech/Diarizer/DiarizationResult.h"

#include <optional>
#include <vector>

namespace Varnel {

// Marries what was said with who was speaking: each token goes to the speaker at its midpoint, runs of one speaker
// become segments. Without diarization the whole text is one segment of speaker "S1". A pure function; the time is
// that of sorting the diarizer's segments and of a binary search for each token.
std::vector<Output::Segment> groupTokens(const VarnelSpeech::ASRResult& result,
                                         const std::optional<VarnelSpeech::DiarizationResult>& diarization);

} // namespace Varnel
