#pragma once

#include "VarnelSpeech/Asr/AsrModels.h"

namespace VarnelSpeech {

// Checks that each network declares the tensors of its role in the recogniser, by name, shape and type; dimensions that
// are not fixed fit anything. Throws AsrModelsError loadingFailed with the bundle and the tensor, so that a wrong
// network is found at load and not in mid-transcription.
void requireContracts(const AsrModels& models);

} // namespace VarnelSpeech
