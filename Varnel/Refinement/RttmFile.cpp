#include "Varnel/Refinement/RttmFile.h"

#include "VarnelSpeech/Shared/PrintableText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>

namespace Varnel {

namespace {

using VarnelSpeech::printable;

constexpr std::string_view blanks = " \t\r\v\f";
constexpr std::string_view absent = "<NA>";
constexpr std::array<std::string_view, 13> otherTypes{"SEGMENT", "NOSCORE", "NO_RT_METADATA", "LEXEME", "NON-LEX",
                                                      "FILLER",  "EDIT",    "NON-SPEECH",     "SU",     "IP",
                                                      "CB",      "A/P",     "SPKR-INFO"};

// Where an error is, for its text.
struct Place {
    std::string_view file;
    std::size_t line = 0;

    [[noreturn]] void fail(RttmError::Case error, const std::string& reason) const {
        throw RttmError(error, fmt::format("cannot read '{}': line {}: {}", printable(file), line, reason));
    }
};

std::vector<std::string_view> fieldsOf(std::string_view line) {
    std::vector<std::string_view> fields;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        if (line.empty())
            return fields;
        const std::size_t end = std::min(line.find_first_of(blanks), line.size());
        fields.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
}

double seconds(std::string_view field, const char* what, const Place& place) {
    double value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    if (error != std::errc() || end != field.data() + field.size())
        place.fail(RttmError::Case::badTime,
                   fmt::format("its {} '{}' is no number of seconds", what, printable(field)));
    if (!(value >= 0 && value <= RttmFile::longest)) // not a number fails too
        place.fail(RttmError::Case::badTime, fmt::format("its {} '{}' is not between 0 and {:.0f} seconds", what,
                                                         printable(field), RttmFile::longest));
    return value;
}

// SPEAKER recording channel start duration <NA> <NA> speaker confidence [lookahead]
SpeakerTurn turnOf(const std::vector<std::string_view>& fields, const Place& place) {
    if (fields.size() != 9 && fields.size() != 10)
        place.fail(RttmError::Case::wrongFieldCount,
                   fmt::format("a SPEAKER line has 9 or 10 fields, not {}", fields.size()));
    const double start = seconds(fields[3], "start", place);
    const double duration = seconds(fields[4], "duration", place);
    if (fields[7] == absent)
        place.fail(RttmError::Case::noSpeaker, "it names no speaker");
    return {start, start + duration, std::string(fields[7])};
}

std::string nameField(std::string_view name) {
    if (name.empty())
        return std::string(absent);
    std::string field(name);
    std::replace_if(
        field.begin(), field.end(),
        [](char character) { return character == '\n' || blanks.find(character) != std::string_view::npos; }, '_');
    return field;
}

} // namespace

RttmFile RttmFile::parse(std::string_view text, std::string_view name) {
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    RttmFile file;
    std::map<std::string_view, std::set<std::string>> speakers;
    Place place{name};
    while (!text.empty()) {
        ++place.line;
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::vector<std::string_view> fields = fieldsOf(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (fields.empty() || fields[0].starts_with(";;"))
            continue;
        if (fields[0] != "SPEAKER") {
            if (std::find(otherTypes.begin(), otherTypes.end(), fields[0]) == otherTypes.end())
                place.fail(RttmError::Case::unknownType,
                           fmt::format("'{}' is no type of line", printable(fields[0].substr(0, 40))));
            continue;
        }
        SpeakerTurn turn = turnOf(fields, place);
        auto& known = speakers[fields[1]];
        known.insert(turn.speaker);
        if (known.size() > mostSpeakers)
            place.fail(RttmError::Case::tooManySpeakers,
                       fmt::format("the recording has more than {} speakers", mostSpeakers));
        file.turns[std::string(fields[1])].push_back(std::move(turn));
    }
    return file;
}

std::string rttmLine(std::string_view recording, const SpeakerTurn& turn) {
    return fmt::format("SPEAKER {} 1 {:.3f} {:.3f} <NA> <NA> {} <NA> <NA>\n", nameField(recording), turn.start,
                       turn.end - turn.start, nameField(turn.speaker));
}

} // namespace Varnel
