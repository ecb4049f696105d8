#pragma once

#include "Varnel/Models/ModelContainer.h"

#include <QTemporaryDir>

#include <filesystem>
#include <memory>

namespace Varnel {

// A store in a folder of its own, gone at the end.
class StoreFolder {
public:
    std::filesystem::path file() const { return folder() / "Varnel" / "Varnel.store"; }

    std::filesystem::path folder() const { return directory_.path().toStdString(); }

private:
    QTemporaryDir directory_;
};

inline std::shared_ptr<Meeting> makeMeeting(const QString& title = QStringLiteral("Planning")) {
    return std::make_shared<Meeting>(QUuid::createUuid(), title,
                                     QDateTime::fromMSecsSinceEpoch(1'700'000'000'123, Qt::UTC));
}

inline std::shared_ptr<Speaker> makeSpeaker(const std::shared_ptr<Meeting>& meeting, const QString& name,
                                            std::optional<Speaker::Embedding> embedding = {}) {
    auto speaker =
        std::make_shared<Speaker>(QUuid::createUuid(), name, QStringLiteral("#EC4899"), false, std::move(embedding));
    speaker->setMeeting(meeting);
    return speaker;
}

inline std::shared_ptr<TranscriptSegment> makeSegment(const std::shared_ptr<Meeting>& meeting, const QString& text,
                                                      const std::shared_ptr<Speaker>& speaker = {},
                                                      double startTime = 0) {
    auto segment = std::make_shared<TranscriptSegment>(QUuid::createUuid(), startTime, startTime + 1, text, speaker);
    segment->setMeeting(meeting);
    return segment;
}

} // namespace Varnel
