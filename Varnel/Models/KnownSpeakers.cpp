#include "Varnel/Models/KnownSpeakers.h"

#include "Varnel/Models/StoreStatement.h"

#include <QHash>
#include <QSet>

#include <algorithm>

namespace Varnel {

namespace {

// Of the embedding the length alone is looked at, which SQLite knows without reading it.
constexpr const char* speakersWithTheirSpeech = R"sql(
    WITH spoken AS (
        SELECT speaker, SUM(MAX(endTime - startTime, 0)) AS seconds
        FROM segments WHERE speaker IS NOT NULL GROUP BY speaker)
    SELECT name, colorHex, isYou, COALESCE(length(embedding), 0), COALESCE(meeting, 0), COALESCE(seconds, 0.0)
    FROM speakers LEFT JOIN spoken ON spoken.speaker = speakers.row
    ORDER BY row)sql";

} // namespace

std::vector<KnownSpeaker> knownSpeakers(const std::filesystem::path& store) {
    StoreConnection connection(store, StoreConnection::Access::readOnly);
    StoreStatement statement(connection, speakersWithTheirSpeech);
    QHash<QString, KnownSpeaker> byName;
    QHash<QString, QSet<std::int64_t>> meetings;
    while (statement.next()) {
        const QString name = statement.text(0);
        KnownSpeaker& speaker = byName[name];
        speaker.name = name;
        speaker.colorHex = statement.text(1);
        speaker.isYou = speaker.isYou || statement.integer(2) != 0;
        speaker.hasVoice = speaker.hasVoice || statement.integer(3) > 0;
        if (const std::int64_t meeting = statement.integer(4); meeting != 0)
            meetings[name].insert(meeting);
        speaker.secondsSpoken += statement.real(5);
    }
    std::vector<KnownSpeaker> result;
    for (KnownSpeaker& speaker : byName) {
        speaker.meetings = static_cast<std::size_t>(meetings.value(speaker.name).size());
        result.push_back(std::move(speaker));
    }
    std::sort(result.begin(), result.end(), [](const KnownSpeaker& left, const KnownSpeaker& right) {
        const int order = left.name.compare(right.name, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : left.name < right.name;
    });
    return result;
}

} // namespace Varnel
