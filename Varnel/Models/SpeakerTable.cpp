#include "Varnel/Models/SpeakerTable.h"

#include "Varnel/Models/ColumnUpdate.h"
#include "Varnel/Models/FoldedText.h"
#include "Varnel/Models/Speaker.h"

#include <QtEndian>

#include <SQLiteCpp/Database.h>

namespace Varnel {

namespace {

void bindEmbedding(StoreStatement& statement, const std::optional<Speaker::Embedding>& embedding) {
    if (!embedding) {
        statement.bindNull();
        return;
    }
    Speaker::Embedding littleEndian(embedding->size());
    if (!embedding->empty()) // an empty one may have no address
        qToLittleEndian<float>(embedding->data(), static_cast<qsizetype>(embedding->size()), littleEndian.data());
    statement.bind(std::as_bytes(std::span(littleEndian)));
}

void bindMeeting(StoreStatement& statement, std::int64_t row) {
    if (row == 0) {
        statement.bindNull();
    } else {
        statement.bind(row);
    }
}

} // namespace

const char* SpeakerTable::selection() {
    return "SELECT row, id, meeting, name, colorHex, isYou FROM speakers ";
}

std::shared_ptr<Speaker> SpeakerTable::record(const StoreStatement& statement) {
    auto speaker = std::make_shared<Speaker>(statement.uuid(1), QString(), QString(), false);
    read(statement, *speaker, 0);
    return speaker;
}

void SpeakerTable::read(const StoreStatement& statement, Speaker& speaker, std::uint32_t keep) {
    if ((keep & Speaker::meetingColumn) == 0) {
        const std::int64_t meeting = statement.integer(2); // NULL reads as 0
        if (meeting != speaker.meetingRow_) {
            speaker.meeting_.reset();
            speaker.meetingRow_ = meeting;
        }
    }
    if ((keep & Speaker::nameColumn) == 0) {
        speaker.name_ = statement.text(3);
    }
    if ((keep & Speaker::colorHexColumn) == 0) {
        speaker.colorHex_ = statement.text(4);
    }
    if ((keep & Speaker::isYouColumn) == 0) {
        speaker.isYou_ = statement.integer(5) != 0;
    }
    if ((keep & (Speaker::embeddingColumn | Speaker::embeddingModelDigestColumn)) == 0) {
        speaker.embedding_.reset();
        speaker.embeddingModelDigest_.reset();
        speaker.embeddingLoaded_ = false;
    }
}

void SpeakerTable::readEmbedding(const Speaker& speaker) const {
    StoreStatement statement(connection_, "SELECT embedding, digest FROM speakers LEFT JOIN voiceDigests "
                                          "ON voiceDigests.speaker = speakers.row WHERE speakers.row=?");
    speaker.embedding_.reset();
    speaker.embeddingModelDigest_.reset();
    if (statement.bind(speaker.rowId_).next()) {
        const auto bytes = statement.blob(0);
        if (!statement.isNull(0) && bytes.size() % sizeof(float) == 0) {
            Speaker::Embedding embedding(bytes.size() / sizeof(float));
            if (!embedding.empty())
                qFromLittleEndian<float>(bytes.data(), static_cast<qsizetype>(embedding.size()), embedding.data());
            speaker.embedding_ = std::move(embedding);
        }
        speaker.embeddingModelDigest_ = statement.optionalText(1);
    }
}

std::int64_t SpeakerTable::insert(const Speaker& speaker) {
    std::int64_t row = 0;
    {
        StoreStatement statement(connection_,
                                 "INSERT INTO speakers(id, meeting, name, nameFolded, colorHex, isYou, embedding) "
                                 "VALUES(?,?,?,?,?,?,?)");
        statement.bind(speaker.id_);
        bindMeeting(statement, speaker.meetingRow_);
        statement.bind(speaker.name_)
            .bind(foldedIfBeyondAscii(speaker.name_))
            .bind(speaker.colorHex_)
            .bind(std::int64_t{speaker.isYou_});
        bindEmbedding(statement, speaker.embedding_);
        statement.run();
        row = connection_.database().getLastInsertRowid();
    }
    index_.addSpeaker(row);
    if (speaker.embeddingModelDigest_) {
        writeDigest(speaker, row);
    }
    return row;
}

void SpeakerTable::update(const Speaker& speaker, std::uint32_t columns) {
    const bool changesIndex = (columns & Speaker::nameColumn) != 0;
    if (changesIndex) {
        index_.takeOutSpeaker(speaker.rowId_);
    }
    updateColumns(connection_, "speakers", speaker.rowId_, columns,
                  {
                      {Speaker::nameColumn, "name=?, nameFolded=?",
                       [&](StoreStatement& statement) {
                           statement.bind(speaker.name_).bind(foldedIfBeyondAscii(speaker.name_));
                       }},
                      {Speaker::colorHexColumn, "colorHex=?",
                       [&](StoreStatement& statement) { statement.bind(speaker.colorHex_); }},
                      {Speaker::isYouColumn, "isYou=?",
                       [&](StoreStatement& statement) { statement.bind(std::int64_t{speaker.isYou_}); }},
                      {Speaker::embeddingColumn, "embedding=?",
                       [&](StoreStatement& statement) { bindEmbedding(statement, speaker.embedding_); }},
                      {Speaker::meetingColumn, "meeting=?",
                       [&](StoreStatement& statement) { bindMeeting(statement, speaker.meetingRow_); }},
                  });
    if (changesIndex) {
        index_.addSpeaker(speaker.rowId_);
    }
    if ((columns & Speaker::embeddingModelDigestColumn) != 0) {
        writeDigest(speaker, speaker.rowId_);
    }
}

void SpeakerTable::writeDigest(const Speaker& speaker, std::int64_t row) {
    if (speaker.embeddingModelDigest_) {
        StoreStatement(connection_, "INSERT OR REPLACE INTO voiceDigests(speaker, digest) "
                                    "SELECT row, ? FROM speakers WHERE row=?")
            .bind(*speaker.embeddingModelDigest_)
            .bind(row)
            .run();
    } else {
        StoreStatement(connection_, "DELETE FROM voiceDigests WHERE speaker=?").bind(row).run();
    }
}

void SpeakerTable::remove(std::int64_t row) {
    index_.takeOutSpeaker(row);
    StoreStatement(connection_, "DELETE FROM speakers WHERE row=?").bind(row).run();
}

} // namespace Varnel
