#include "Varnel/Refinement/Export.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/TranscriptSegment.h"
#include "Varnel/Refinement/DateText.h"
#include "Varnel/Refinement/ExportTime.h"
#include "Varnel/Refinement/PrettyJson.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace Varnel::Export {

namespace {

using Segments = std::vector<std::shared_ptr<TranscriptSegment>>;

Segments sortedSegments(const Meeting& meeting) {
    Segments segments = meeting.segments();
    std::stable_sort(segments.begin(), segments.end(),
                     [](const auto& left, const auto& right) { return left->startTime() < right->startTime(); });
    return segments;
}

QString speakerName(const TranscriptSegment& segment) {
    return segment.speaker() ? segment.speaker()->name() : QStringLiteral("?");
}

std::string utf8(const QString& text) {
    return text.toStdString();
}

// Whole seconds, the platform's common ISO 8601 form.
std::string isoDate(const QDateTime& date) {
    const QString text = date.toUTC().toString(Qt::ISODate);
    if (text.isEmpty())
        throw std::runtime_error("the meeting's date has no ISO 8601 form");
    return utf8(text);
}

} // namespace

QString markdown(const Meeting& meeting) {
    QString result = QStringLiteral("# ") + meeting.title() + QStringLiteral("\n\n");
    result += QStringLiteral("- **Date:** ") + dateText(meeting.startedAt()) + u'\n';
    if (meeting.sourceApp())
        result += QStringLiteral("- **Source:** ") + *meeting.sourceApp() + u'\n';
    result += QStringLiteral("- **Duration:** ") + durationText(meeting.duration()) + u'\n';
    QStringList names;
    for (const auto& speaker : meeting.speakers())
        names += speaker->name();
    result += QStringLiteral("- **Speakers:** ") + names.join(QStringLiteral(", ")) + QStringLiteral("\n\n");
    result += QStringLiteral("## Transcript\n\n");
    for (const auto& segment : sortedSegments(meeting)) {
        result += QStringLiteral("**[") + lineTime(segment->startTime()) + QStringLiteral("] ") +
                  speakerName(*segment) + QStringLiteral(":** ") + segment->text() + QStringLiteral("\n\n");
    }
    return result;
}

QString plainTextHeader(const Meeting& meeting) {
    QString result = meeting.title() + u'\n' + dateText(meeting.startedAt()) + u'\n';
    if (meeting.sourceApp())
        result += QStringLiteral("Source: ") + *meeting.sourceApp() + u'\n';
    return result + QStringLiteral("Duration: ") + durationText(meeting.duration()) + QStringLiteral("\n\n");
}

QString plainText(const Meeting& meeting) {
    QString result = plainTextHeader(meeting);
    for (const auto& segment : sortedSegments(meeting)) {
        result += u'[' + lineTime(segment->startTime()) + QStringLiteral("] ") + speakerName(*segment) +
                  QStringLiteral(": ") + segment->text() + u'\n';
    }
    return result;
}

QString srt(const Meeting& meeting) {
    QString result;
    std::size_t number = 0;
    for (const auto& segment : sortedSegments(meeting)) {
        result += QString::number(++number) + u'\n';
        result +=
            srtTimestamp(segment->startTime()) + QStringLiteral(" --> ") + srtTimestamp(segment->endTime()) + u'\n';
        result += speakerName(*segment) + QStringLiteral(": ") + segment->text() + QStringLiteral("\n\n");
    }
    return result;
}

QByteArray json(const Meeting& meeting) {
    nlohmann::json speakers = nlohmann::json::array();
    for (const auto& speaker : meeting.speakers()) {
        speakers.push_back({{"id", utf8(text(speaker->id()))},
                            {"name", utf8(speaker->name())},
                            {"colorHex", utf8(speaker->colorHex())},
                            {"isYou", speaker->isYou()}});
    }
    nlohmann::json segments = nlohmann::json::array();
    for (const auto& segment : sortedSegments(meeting)) {
        nlohmann::json entry{{"id", utf8(text(segment->id()))},
                             {"startTime", segment->startTime()},
                             {"endTime", segment->endTime()},
                             {"text", utf8(segment->text())}};
        if (segment->speaker())
            entry["speakerID"] = utf8(text(segment->speaker()->id()));
        segments.push_back(std::move(entry));
    }
    nlohmann::json result{{"id", utf8(text(meeting.id()))},
                          {"title", utf8(meeting.title())},
                          {"startedAt", isoDate(meeting.startedAt())},
                          {"duration", meeting.duration()},
                          {"speakers", std::move(speakers)},
                          {"segments", std::move(segments)}};
    if (meeting.sourceApp())
        result["sourceApp"] = utf8(*meeting.sourceApp());
    return prettyJson(result);
}

QByteArray bytes(const Meeting& meeting, Format format) {
    switch (format) {
    case Format::markdown:
        return markdown(meeting).toUtf8();
    case Format::json:
        return json(meeting);
    case Format::plainText:
        return plainText(meeting).toUtf8();
    case Format::srt:
        return srt(meeting).toUtf8();
    }
    throw std::invalid_argument("unknown export format");
}

} // namespace Varnel::Export
