#pragma once

#include "VarnelSpeech/Diarizer/Date.h"

#include <string>
#include <vector>

namespace VarnelSpeech {

// What a speaker that may be created consists of.
struct SpeakerCreationParams {
    std::string id;
    std::string name;
    float duration = 0;           // seconds
    std::vector<float> embedding; // unit length
    Date createdAt;
    Date updatedAt;
};

} // namespace VarnelSpeech
