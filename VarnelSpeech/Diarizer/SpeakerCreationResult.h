#pragma once

#include "VarnelSpeech/Diarizer/SpeakerCreationParams.h"

#include <string>
#include <variant>

namespace VarnelSpeech {

struct SpeakerCreationFailure {
    std::string reason;
};

using SpeakerCreationResult = std::variant<SpeakerCreationParams, SpeakerCreationFailure>;

} // namespace VarnelSpeech
