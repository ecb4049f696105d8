#include "Varnel/CommandLine/DiarizationText.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Models/SpeakerColors.h"
#include "Varnel/Refinement/RttmFile.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>

namespace Varnel::CommandLine {

namespace {

using VarnelSpeech::DiarizationResult;
using VarnelSpeech::TimedSpeakerSegment;

std::vector<TimedSpeakerSegment> inOrder(const DiarizationResult& result) {
    auto segments = result.segments;
    std::stable_sort(segments.begin(), segments.end(), [](const auto& left, const auto& right) {
        return left.startTimeSeconds < right.startTimeSeconds;
    });
    return segments;
}

double length(const TimedSpeakerSegment& segment) {
    return static_cast<double>(segment.endTimeSeconds) - static_cast<double>(segment.startTimeSeconds);
}

// "1:02:03.45"
std::string timeText(double seconds) {
    const auto hundredths = static_cast<std::int64_t>(std::llround(seconds * 100));
    return fmt::format("{}:{:02}:{:02}.{:02}", hundredths / 360000, hundredths / 6000 % 60, hundredths / 100 % 60,
                       hundredths % 100);
}

// The shortest text of a 32-bit float that reads back the same, as a number: 0.1 and not 0.10000000149011612.
double shortest(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    double result = std::numeric_limits<double>::quiet_NaN();
    std::from_chars(text, end, result);
    return result;
}

} // namespace

std::string diarizationTable(const DiarizationResult& result, TerminalColors colors) {
    struct Voice {
        double seconds = 0;
        QString colorHex;
    };

    // The colors go by the sorted ids, like those of a meeting's speakers.
    std::map<std::string, Voice> voices;
    for (const TimedSpeakerSegment& segment : result.segments)
        voices[segment.speakerId].seconds += length(segment);
    std::size_t index = 0;
    for (auto& [id, voice] : voices)
        voice.colorHex = speakerColor(index++);

    std::string text = fmt::format("{:>10}  {:>10}  {:>7}  {}\n", "START", "END", "SECONDS", "SPEAKER");
    for (const TimedSpeakerSegment& segment : inOrder(result))
        text += fmt::format("{:>10}  {:>10}  {:>7.2f}  {}\n", timeText(static_cast<double>(segment.startTimeSeconds)),
                            timeText(static_cast<double>(segment.endTimeSeconds)), length(segment),
                            colored(singleLine(segment.speakerId), voices[segment.speakerId].colorHex, colors));
    std::string names;
    for (const auto& [id, voice] : voices)
        names += fmt::format("{}{} ({:.1f} s)", names.empty() ? "" : ", ",
                             colored(singleLine(id), voice.colorHex, colors), voice.seconds);
    return text + fmt::format("\n{} {}: {}\n", voices.size(), voices.size() == 1 ? "speaker" : "speakers", names);
}

std::string diarizationRttm(const DiarizationResult& result, std::string_view recording) {
    std::string text;
    for (const TimedSpeakerSegment& segment : inOrder(result))
        text += rttmLine(recording, {static_cast<double>(segment.startTimeSeconds),
                                     static_cast<double>(segment.endTimeSeconds), segment.speakerId});
    return text;
}

nlohmann::ordered_json diarizationJson(const DiarizationResult& result, Embeddings embeddings) {
    auto array = nlohmann::ordered_json::array();
    for (const TimedSpeakerSegment& segment : inOrder(result)) {
        nlohmann::ordered_json object{{"id", segment.id}, {"speakerId", segment.speakerId}};
        if (embeddings == Embeddings::included) {
            object["embedding"] = nlohmann::ordered_json::array();
            for (const float value : segment.embedding)
                object["embedding"].push_back(shortest(value));
        }
        object["startTimeSeconds"] = shortest(segment.startTimeSeconds);
        object["endTimeSeconds"] = shortest(segment.endTimeSeconds);
        object["qualityScore"] = shortest(segment.qualityScore);
        array.push_back(std::move(object));
    }
    return array;
}

} // namespace Varnel::CommandLine
