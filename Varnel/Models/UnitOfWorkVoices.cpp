// The scan over all voices. A library's voices are some hundred megabytes of floats: they are read row by row, without
// a record for each, and what is in memory counts as a fetch would give it.

#include "Varnel/Models/StoredVoice.h"
#include "Varnel/Models/UnitOfWork.h"

#include <QtEndian>

namespace Varnel {

namespace {

struct Columns {
    enum : int { row, meeting, name, colorHex, isYou, embedding, isComparable };
};

constexpr const char* selection = "SELECT speakers.row, meeting, name, colorHex, isYou, embedding, "
                                  "?1 IS NULL OR digest IS NULL OR digest = ?1 "
                                  "FROM speakers LEFT JOIN voiceDigests ON voiceDigests.speaker = speakers.row "
                                  "ORDER BY speakers.row";

// The blob lies anywhere in SQLite's page. One that is no whole number of floats is no embedding.
std::span<const float> readFloats(const StoreStatement& statement, std::vector<float>& buffer) {
    const auto bytes = statement.blob(Columns::embedding);
    if (bytes.empty() || bytes.size() % sizeof(float) != 0) {
        return {};
    }
    buffer.resize(bytes.size() / sizeof(float));
    qFromLittleEndian<float>(bytes.data(), static_cast<qsizetype>(buffer.size()), buffer.data());
    return buffer;
}

} // namespace

QString StoredVoice::name() const {
    return record_ != nullptr ? record_->name() : row_.text(Columns::name);
}

QString StoredVoice::colorHex() const {
    return record_ != nullptr ? record_->colorHex() : row_.text(Columns::colorHex);
}

bool StoredVoice::isYou() const {
    return record_ != nullptr ? record_->isYou() : row_.integer(Columns::isYou) != 0;
}

void UnitOfWork::scanVoices(const VoiceFilter& filter, const std::function<void(const StoredVoice&)>& use) {
    const auto excluded = filter.excludedMeetingID ? withId<Meeting>(*filter.excludedMeetingID) : nullptr;
    std::vector<float> buffer;
    StoreStatement statement(*connection_, selection);
    statement.bind(filter.embeddingModelDigest);
    StoredVoice voice(statement);

    const auto passRow = [&] {
        if (statement.integer(Columns::isComparable) != 0) {
            voice.embedding_ = readFloats(statement, buffer);
            if (!voice.embedding_.empty()) {
                use(voice);
            }
        }
    };
    const auto passRecord = [&](const Speaker& record) {
        if (excluded && record.isIn(*excluded)) {
            return;
        }
        voice.record_ = &record;
        if (!record.embeddingLoaded_) {
            passRow();
        } else if (record.embedding_ && !record.embedding_->empty() &&
                   (!filter.embeddingModelDigest || !record.embeddingModelDigest_ ||
                    record.embeddingModelDigest_ == filter.embeddingModelDigest)) {
            voice.embedding_ = *record.embedding_;
            use(voice);
        }
        voice.record_ = nullptr;
    };

    while (statement.next()) {
        const std::int64_t speakerRow = statement.integer(Columns::row);
        if (speakers_.removed.contains(speakerRow)) {
            continue;
        }
        if (const auto record = speakers_.find(speakerRow)) {
            passRecord(*record);
            continue;
        }
        const std::int64_t meetingRow = statement.integer(Columns::meeting); // NULL reads as 0
        const bool isExcluded = excluded && meetingRow != 0 && meetingRow == excluded->rowId_;
        if (!isExcluded && !meetings_.removed.contains(meetingRow)) {
            passRow();
        }
    }
    for (const auto& [sequence, record] : speakers_.inserted) {
        record->loadEmbedding(); // there is no row to read it from
        passRecord(*record);
    }
}

} // namespace Varnel
