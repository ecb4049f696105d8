#pragma once

#include "VarnelSpeech/Diarizer/Date.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VarnelSpeech {

class Speaker;

// A snapshot of a speaker that any thread may keep. SpeakerManager takes them within one read.
struct SendableSpeaker {
    SendableSpeaker() = default;

    // The numeric id is the speaker's decimal id; a number made of the text (never negative, the same within a
    // process) for an id that is not a decimal number.
    explicit SendableSpeaker(const Speaker& speaker);

    // The name, or "Speaker #" and the id for an empty name.
    std::string label() const;

    std::int64_t id = 0;
    std::string name;
    float duration = 0; // seconds
    std::vector<float> mainEmbedding;
    Date createdAt;
    Date updatedAt;

    bool operator==(const SendableSpeaker&) const = default;
};

} // namespace VarnelSpeech
