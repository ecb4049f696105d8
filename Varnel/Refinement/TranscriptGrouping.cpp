#include "Varnel/Refinement/TranscriptGrouping.h"

#include "Varnel/Refinement/SpeakerLookup.h"

#include <string>
#include <utility>

namespace Varnel {

namespace {

struct Group {
    const VarnelSpeech::TimedSpeakerSegment* voice; // that the first token fell into
    double start;                                   // seconds
    double end;
    std::string tokens;
};

// The whole text as one segment.
std::vector<Output::Segment> single(const VarnelSpeech::ASRResult& result, QString key, std::vector<float> embedding) {
    QString text = QString::fromStdString(result.text).trimmed();
    if (text.isEmpty())
        return {};
    return {{0, result.duration, std::move(text), std::move(key), std::move(embedding)}};
}

// A run of one speaker ends only where another speaks: neither gaps nor lengths matter.
std::vector<Group> groups(const std::vector<VarnelSpeech::TokenTiming>& tokens, const SpeakerLookup& speakers) {
    std::vector<Group> groups;
    for (const auto& token : tokens) {
        const auto& voice = speakers.at((token.startTime + token.endTime) * 0.5);
        if (!groups.empty() && groups.back().voice->speakerId == voice.speakerId) {
            groups.back().end = token.endTime;
            groups.back().tokens += token.token;
        } else {
            groups.push_back({&voice, token.startTime, token.endTime, token.token});
        }
    }
    return groups;
}

QString cleaned(const std::string& tokens) {
    QString text = QString::fromStdString(tokens);
    text.replace(QChar(0x2581), QLatin1Char(' '));           // the mark of a word's beginning
    text.replace(QStringLiteral("  "), QStringLiteral(" ")); // once: three blanks leave two
    return text.trimmed();
}

} // namespace

std::vector<Output::Segment> groupTokens(const VarnelSpeech::ASRResult& result,
                                         const std::optional<VarnelSpeech::DiarizationResult>& diarization) {
    if (!diarization || diarization->segments.empty())
        return single(result, QStringLiteral("S1"), {});
    const auto& voices = diarization->segments;
    if (!result.tokenTimings || result.tokenTimings->empty())
        return single(result, QString::fromStdString(voices.front().speakerId), voices.front().embedding);

    std::vector<Output::Segment> segments;
    for (const Group& group : groups(*result.tokenTimings, SpeakerLookup(voices))) {
        QString text = cleaned(group.tokens);
        if (text.isEmpty())
            continue;
        segments.push_back({group.start, group.end, std::move(text), QString::fromStdString(group.voice->speakerId),
                            group.voice->embedding});
    }
    return segments;
}

} // namespace Varnel
