#pragma once

#include <QString>

#include <vector>

namespace Varnel {

// What the transcription engine makes of one audio file.
struct Output {
    // A run of one speaker's words.
    struct Segment {
        double startTime = 0;         // of the first token, seconds
        double endTime = 0;           // of the last token
        QString text;                 // cleaned, never empty
        QString speakerKey;           // the diarizer's speaker id, or "S1" without diarization
        std::vector<float> embedding; // of the diarizer segment that the first token fell into; may be empty

        bool operator==(const Segment&) const = default;
    };

    std::vector<Segment> segments; // empty for silence
    double duration = 0;           // of the audio, seconds

    bool operator==(const Output&) const = default;
};

} // namespace Varnel
