#pragma once

#include "Varnel/Refinement/SpeakerTurn.h"

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Varnel {

// Why a text is not Rich Transcription Time Marked. The text of the error names the file, the line and the reason.
class RttmError : public std::runtime_error {
public:
    enum class Case {
        unknownType,     // the first word of a line is none of the format's types
        wrongFieldCount, // a SPEAKER line has other than 9 or 10 fields
        badTime,         // a start or a duration that is no number of seconds between 0 and `longest`
        noSpeaker,       // the speaker's name is left out
        tooManySpeakers, // more than `mostSpeakers` in one recording
    };

    RttmError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error() const { return error_; }

private:
    Case error_;
};

// Who speaks when in one or more recordings, in the Rich Transcription Time Marked format (RTTM) of the NIST speech
// evaluations.
struct RttmFile {
    static constexpr double longest = 1e7;            // seconds
    static constexpr std::size_t mostSpeakers = 1000; // of one recording

    // By the recordings' ids; turns in the order of the file.
    std::map<std::string, std::vector<SpeakerTurn>> turns;

    // Empty lines, comments (";;") and lines of other types than SPEAKER are skipped. `name` is the file's, for the
    // errors. Throws RttmError.
    static RttmFile parse(std::string_view text, std::string_view name);
};

// One SPEAKER line with its line end, times with three decimals. White space in a name becomes "_"; an empty name
// becomes "<NA>".
std::string rttmLine(std::string_view recording, const SpeakerTurn& turn);

} // namespace Varnel
