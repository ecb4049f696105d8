#pragma once

#include "Varnel/Models/Meeting.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/TranscriptSegment.h"

#include <QTimeZone>

#include <memory>
#include <vector>

namespace Varnel::Testing {

inline QUuid numberedId(int number) {
    return QUuid(QStringLiteral("{aaaaaaaa-bbbb-4ccc-8ddd-%1}").arg(number, 12, 10, QLatin1Char('0')));
}

// A meeting outside any store, with all that it holds.
struct SampleMeeting {
    explicit SampleMeeting(const QString& title, std::optional<QString> sourceApp = {}, double duration = 0)
        : meeting(std::make_shared<Meeting>(numberedId(1), title,
                                            QDateTime(QDate(2026, 3, 5), QTime(9, 4, 59, 900), Qt::UTC),
                                            std::move(sourceApp), std::nullopt, std::nullopt, duration)) {}

    std::shared_ptr<Speaker> speaker(const QString& name, const char* color, bool isYou = false) {
        auto speaker = std::make_shared<Speaker>(numberedId(next_++), name, QLatin1String(color), isYou);
        speaker->setMeeting(meeting);
        speakers_.push_back(speaker);
        return speaker;
    }

    void line(double start, double end, const QString& text, std::shared_ptr<Speaker> speaker = {}) {
        auto segment = std::make_shared<TranscriptSegment>(numberedId(next_++), start, end, text, std::move(speaker));
        segment->setMeeting(meeting);
        segments_.push_back(segment);
    }

    std::shared_ptr<Meeting> meeting;

private:
    int next_ = 100;
    std::vector<std::shared_ptr<Speaker>> speakers_;
    std::vector<std::shared_ptr<TranscriptSegment>> segments_;
};

} // namespace Varnel::Testing
