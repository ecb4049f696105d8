#pragma once

#include <string>

namespace VarnelSpeech {

struct AssignmentDecision {
    bool shouldAssign = false;
    bool shouldUpdate = false;
    float confidence = 0; // 1 - distance
    std::string reason;
};

} // namespace VarnelSpeech
