#include "Varnel/CommandLine/TranscriptLines.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/TranscriptSegment.h"
#include "Varnel/Refinement/Export.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace Varnel::CommandLine {

namespace {

std::string coloredName(const Speaker& speaker, TerminalColors colors) {
    return colored(singleLine(speaker.name().toStdString()), speaker.colorHex(), colors);
}

std::string line(const TranscriptSegment& segment, const QString& text, TerminalColors colors) {
    const auto seconds = static_cast<std::int64_t>(segment.startTime());
    const std::string speaker = segment.speaker() ? coloredName(*segment.speaker(), colors) : "?";
    return fmt::format("[{:02}:{:02}] {}: {}", seconds / 60, seconds % 60, speaker, singleLine(text.toStdString()));
}

// What stands around the query in a long text; the whole of a short one.
QString excerpt(const QString& text, const QString& query) {
    constexpr qsizetype longest = 120; // characters
    constexpr qsizetype before = 40;
    if (text.size() <= longest)
        return text;
    // Lower-casing may have changed the length of the text before it, so the place is looked up anew.
    const qsizetype at = std::max<qsizetype>(text.indexOf(query, 0, Qt::CaseInsensitive), 0);
    qsizetype begin = std::max<qsizetype>(at - before, 0);
    if (begin > 0 && text[begin].isLowSurrogate())
        --begin;
    qsizetype end = std::min(begin + longest, text.size());
    if (end < text.size() && text[end].isLowSurrogate())
        ++end;
    return (begin > 0 ? QStringLiteral("...") : QString()) + text.mid(begin, end - begin) +
           (end < text.size() ? QStringLiteral("...") : QString());
}

} // namespace

std::vector<std::shared_ptr<TranscriptSegment>> segmentsInOrder(const Meeting& meeting) {
    auto segments = meeting.segments();
    std::stable_sort(segments.begin(), segments.end(),
                     [](const auto& left, const auto& right) { return left->startTime() < right->startTime(); });
    return segments;
}

std::string transcriptLine(const TranscriptSegment& segment, TerminalColors colors) {
    return line(segment, segment.text(), colors);
}

std::string coloredTranscript(const Meeting& meeting, TerminalColors colors) {
    std::string text;
    const QStringList header = Export::plainTextHeader(meeting).split(u'\n');
    for (const QString& headerLine : header.mid(0, header.size() - 1))
        text += singleLine(headerLine.toStdString()) + "\n";
    for (const auto& segment : segmentsInOrder(meeting))
        text += transcriptLine(*segment, colors) + "\n";
    return text;
}

std::string speakerNames(const Meeting& meeting, TerminalColors colors) {
    std::string names;
    for (const auto& speaker : meeting.speakers())
        names += (names.empty() ? "" : ", ") + coloredName(*speaker, colors);
    return names;
}

std::string dateText(const QDateTime& date) {
    return date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")).toStdString();
}

std::string searchHint(const Meeting& meeting, const QString& query) {
    for (const auto& segment : segmentsInOrder(meeting))
        if (segment->text().toLower().contains(query))
            return line(*segment, excerpt(segment->text(), query), TerminalColors::none);
    for (const auto& speaker : meeting.speakers())
        if (speaker->name().toLower().contains(query))
            return fmt::format("speaker {}", singleLine(speaker->name().toStdString()));
    if (meeting.sourceApp() && meeting.sourceApp()->toLower().contains(query))
        return fmt::format("recorded in {}", singleLine(meeting.sourceApp()->toStdString()));
    return "in the title";
}

} // namespace Varnel::CommandLine
