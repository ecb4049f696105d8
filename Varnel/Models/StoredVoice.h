#pragma once

#include <QString>
#include <QUuid>

#include <optional>
#include <span>

namespace Varnel {

class Speaker;
class StoreStatement;

// A speaker's voice as a scan of the store passes it by. Valid during the call that gets it.
class StoredVoice {
public:
    // Of whatever length; never empty.
    std::span<const float> embedding() const { return embedding_; }

    QString name() const;
    QString colorHex() const;
    bool isYou() const;

private:
    friend class UnitOfWork;

    const Speaker* record_ = nullptr; // none for a row that is not in memory
    const StoreStatement& row_;       // the row, where there is no record
    std::span<const float> embedding_;

    explicit StoredVoice(const StoreStatement& row) : row_(row) {}
};

// Which voices a scan leaves out.
struct VoiceFilter {
    // Those of the meeting with this id; a speaker without a meeting stays.
    std::optional<QUuid> excludedMeetingID;
    // Those that are known to come from another network than the one with this digest; a voice of unknown origin stays.
    std::optional<QString> embeddingModelDigest;
};

} // namespace Varnel
