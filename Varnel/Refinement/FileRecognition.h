#pragma once

#include "VarnelSpeech/Asr/AsrManager.h"

#include <filesystem>
#include <functional>
#include <span>
#include <stop_token>
#include <vector>

namespace Varnel {

// Recognises a whole recording of 16 kHz mono samples on the calling thread. `report` (may be empty) gets rising values
// from 0 to 1 when it has more than one window of the model, from a thread that lives no longer than the call. Throws
// VarnelSpeech::Cancelled soon after a requested stop (between windows), else the recogniser's errors.
VarnelSpeech::ASRResult recognise(VarnelSpeech::AsrManager& asr, std::span<const float> samples,
                                  const std::function<void(double)>& report, std::stop_token stop);

// The whole file as the models take it: 16 kHz, mono. `report` (may be empty) gets the share that is read, on the
// calling thread. Throws VarnelSpeech::Cancelled soon after a requested stop, else the converter's errors.
std::vector<float> readForModels(const std::filesystem::path& file, const std::function<void(double)>& report,
                                 const std::stop_token& stop);

} // namespace Varnel
