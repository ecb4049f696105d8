#pragma once

#include "VarnelSpeech/Asr/TokenWindow.h"

#include <vector>

namespace VarnelSpeech::Testing {

// The merge of two windows' tokens written plainly, step by step over whole lists: what the fast one must equal.
// Overlap 2 s, frames of 0.08 s.
std::vector<TokenWindow> referenceMerge(const std::vector<TokenWindow>& left, const std::vector<TokenWindow>& right);

} // namespace VarnelSpeech::Testing
