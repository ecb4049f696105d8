#pragma once

#include "Varnel/Models/Record.h"

#include <QString>
#include <QUuid>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

namespace Varnel {

class Meeting;
class TranscriptSegment;

// A voice in one meeting.
class Speaker final : public Record, public std::enable_shared_from_this<Speaker> {
public:
    using Embedding = std::vector<float>; // whatever length the diarizer gives

    Speaker(QUuid id, QString name, QString colorHex, bool isYou, std::optional<Embedding> embedding = {});
    ~Speaker();

    const QUuid& id() const { return id_; }

    const QString& name() const { return name_; }

    void setName(QString name);

    const QString& colorHex() const { return colorHex_; } // "#" and six upper-case hexadecimal digits

    void setColorHex(QString colorHex);

    bool isYou() const { return isYou_; } // this speaker is the user

    void setIsYou(bool isYou);
    // Mean voice embedding in this meeting; none when the voice could not be measured or was forgotten.
    const std::optional<Embedding>& embedding() const;
    void setEmbedding(std::optional<Embedding> embedding);
    // SHA-256 of the network that made the embedding, for voices of different networks are not comparable. None for
    // an embedding of unknown origin. Setting another embedding clears it.
    const std::optional<QString>& embeddingModelDigest() const;
    void setEmbeddingModelDigest(std::optional<QString> digest);

    std::shared_ptr<Meeting> meeting() const;
    void setMeeting(const std::shared_ptr<Meeting>& meeting);

    // In the order of insertion. Deleting the speaker leaves them without one. Throws StoreError.
    std::vector<std::shared_ptr<TranscriptSegment>> segments() const;

private:
    friend class UnitOfWork;
    friend class SpeakerTable;
    friend class Meeting;
    friend class TranscriptSegment;

    enum Column : std::uint32_t {
        nameColumn = 1u << 0,
        colorHexColumn = 1u << 1,
        isYouColumn = 1u << 2,
        embeddingColumn = 1u << 3,
        embeddingModelDigestColumn = 1u << 4,
        meetingColumn = 1u << 5,
    };

    template <typename Value>
    void assign(Value& field, Value value, Column column);
    void loadEmbedding() const;
    bool isIn(const Meeting& meeting) const;

    QUuid id_;
    QString name_;
    QString colorHex_;
    bool isYou_;
    mutable std::optional<Embedding> embedding_;
    mutable std::optional<QString> embeddingModelDigest_;
    mutable bool embeddingLoaded_ = true; // with the digest; false for a speaker from the store, until the first use
    std::weak_ptr<Meeting> meeting_;
    std::int64_t meetingRow_ = 0;                     // the meeting's row, while it is not in memory
    std::unordered_set<TranscriptSegment*> inMemory_; // the segments in memory that point here
};

} // namespace Varnel
