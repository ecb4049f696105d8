#include "VarnelSpeech/Diarizer/SendableSpeaker.h"

#include "VarnelSpeech/Diarizer/Speaker.h"
#include "VarnelSpeech/Diarizer/SpeakerNumber.h"

#include <functional>
#include <limits>

namespace VarnelSpeech {

namespace {

std::int64_t numericId(const std::string& id) {
    if (const auto number = speakerNumber(id)) {
        return *number;
    }
    const auto hash = static_cast<std::int64_t>(std::hash<std::string>{}(id));
    if (hash == std::numeric_limits<std::int64_t>::min()) {
        return std::numeric_limits<std::int64_t>::max(); // its absolute value does not exist
    }
    return hash < 0 ? -hash : hash;
}

} // namespace

SendableSpeaker::SendableSpeaker(const Speaker& speaker)
    : id(numericId(speaker.id())),
      name(speaker.name()),
      duration(speaker.duration()),
      mainEmbedding(speaker.currentEmbedding()),
      createdAt(speaker.createdAt()),
      updatedAt(speaker.updatedAt()) {}

std::string SendableSpeaker::label() const {
    return name.empty() ? "Speaker #" + std::to_string(id) : name;
}

} // namespace VarnelSpeech
