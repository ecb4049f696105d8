#pragma once

#include "VarnelSpeech/Shared/ZeroCopyFeatureProvider.h"

namespace VarnelSpeech {

// The diarizers' name for the same thing.
using ZeroCopyDiarizerFeatureProvider = ZeroCopyFeatureProvider;

} // namespace VarnelSpeech
