#pragma once

#include "Varnel/CommandLine/TerminalColors.h"
#include "Varnel/Models/Meeting.h"

#include <QString>

#include <memory>
#include <string>
#include <vector>

namespace Varnel::CommandLine {

// The transcript of a meeting as a terminal shows it.

// By start time; of equal ones in the order of their insertion.
std::vector<std::shared_ptr<TranscriptSegment>> segmentsInOrder(const Meeting& meeting);

// "[12:34] Name: what was said", the name in the speaker's color.
std::string transcriptLine(const TranscriptSegment& segment, TerminalColors colors = TerminalColors::none);

// The plain text of a meeting as Export gives it, with the names in the speakers' colors; what would obey the terminal
// is escaped.
std::string coloredTranscript(const Meeting& meeting, TerminalColors colors);

// The names of a meeting's speakers, each in its color: "Ada, Ben".
std::string speakerNames(const Meeting& meeting, TerminalColors colors = TerminalColors::none);

// "2026-11-21 14:03", in the machine's time zone.
std::string dateText(const QDateTime& date);

// Why a meeting answers to a search, in a few words: its first line that holds the query (of a long one what stands
// around it), else the speaker, the application or the title that does. `query` is trimmed and lower-cased.
std::string searchHint(const Meeting& meeting, const QString& query);

} // namespace Varnel::CommandLine
