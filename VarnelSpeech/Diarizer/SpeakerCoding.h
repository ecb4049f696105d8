#pragma once

#include "VarnelSpeech/Diarizer/Speaker.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// A text that is no speaker.
class SpeakerCodingError : public std::runtime_error {
public:
    enum class Case {
        malformed,    // not JSON, or not an object
        missingField, // a field is absent
        invalidField, // a field holds something else than it should
    };

    SpeakerCodingError(Case which, const std::string& text) : std::runtime_error(text), case_(which) {}

    Case code() const { return case_; }

private:
    Case case_;
};

// A speaker as a JSON object under the names of its fields: `id`, `name`, `currentEmbedding`, `duration`, `createdAt`,
// `updatedAt`, `updateCount`, `rawEmbeddings` (objects of `segmentId`, `embedding`, `timestamp`), `isPermanent`.
// Dates are whole nanoseconds since 1970-01-01 00:00 UTC. Numbers that are not finite are written as null and read as
// NaN. Bytes of names that are not UTF-8 are replaced.
std::string encodeSpeaker(const Speaker& speaker);

// Embeddings are normalised on the way in, and of a history the last 50 kept. Throws SpeakerCodingError.
std::shared_ptr<Speaker> decodeSpeaker(std::string_view json);

} // namespace VarnelSpeech
