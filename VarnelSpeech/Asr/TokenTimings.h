#pragma once

#include "VarnelSpeech/Asr/ASRResult.h"
#include "VarnelSpeech/Asr/AsrModels.h"

#include <vector>

namespace VarnelSpeech {

// When each token begins and ends, in order of time. A token lasts as long as its duration says (frames), where it
// has one, else to the next token's start, and at least one frame. Empty when ids, timestamps and confidences are not
// of one length; `tokenDurations` may be empty.
std::vector<TokenTiming> createTokenTimings(const std::vector<int>& tokenIds, const std::vector<int>& timestamps,
                                            const std::vector<float>& confidences,
                                            const std::vector<int>& tokenDurations, const Vocabulary& vocabulary);

// The entries of `existingTimings` at the places of the tokens that the text keeps, with their own text's
// word-boundary marks as blanks.
std::vector<TokenTiming> keepTokenTimings(const std::vector<int>& tokenIds,
                                          const std::vector<TokenTiming>& existingTimings,
                                          const Vocabulary& vocabulary);

} // namespace VarnelSpeech
