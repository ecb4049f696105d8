#pragma once

#include "VarnelSpeech/Asr/AsrManager.h"

#include <filesystem>
#include <functional>
#include <stop_token>

namespace Varnel {

// Recognises a whole audio file on the calling thread. `report` (may be empty) gets rising values from 0 to 1, from
// this thread and from one that lives no longer than the call, never from both at once. Throws
// VarnelSpeech::Cancelled soon after a requested stop (between blocks of the file, between windows of the model), else
// the converter's and the recogniser's errors.
VarnelSpeech::ASRResult recognise(VarnelSpeech::AsrManager& asr, const std::filesystem::path& file,
                                  const std::function<void(double)>& report, std::stop_token stop);

// The whole file as the models take it: 16 kHz, mono. Throws VarnelSpeech::Cancelled soon after a requested stop.
std::vector<float> readForModels(const std::filesystem::path& file, const std::function<void(double)>& report,
                                 const std::stop_token& stop);

} // namespace Varnel
