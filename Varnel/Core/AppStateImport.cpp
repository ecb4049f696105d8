// What AppState makes of an audio file from elsewhere.

#include "Varnel/Core/AppState.h"
#include "Varnel/Core/MockTranscriber.h"
#include "Varnel/Refinement/AudioDuration.h"
#include "Varnel/Refinement/BackgroundJob.h"
#include "VarnelSpeech/Shared/Cancelled.h"

#include <QHash>
#include <QPointer>

namespace Varnel {

namespace {

constexpr double unknownDuration = 60; // seconds

QStringList audioTypes() {
    return {QStringLiteral("audio/*"), QStringLiteral("audio/x-wav"), QStringLiteral("audio/mpeg"),
            QStringLiteral("audio/mp4")};
}

// Off the main context: some files tell their length only at their end.
QCoro::Task<double> durationOf(std::filesystem::path file, WaitingRoom& room) {
    BackgroundJob<std::optional<double>> reading(
        room, {}, [file](const std::stop_token& stop) { return audioDuration(file, stop); });
    const std::optional<double> duration = co_await completion(reading);
    co_return duration&&* duration <= MockTranscriber::longestDuration ? *duration : unknownDuration;
}

} // namespace

QCoro::Task<> AppState::importAudio() {
    if (fileChooser_ == nullptr || clock_ == nullptr)
        co_return;
    const QPointer<AppState> self(this);
    const std::optional<std::filesystem::path> file = co_await fileChooser_->chooseFile(audioTypes());
    if (!self || !file)
        co_return;
    try {
        const double duration = co_await durationOf(*file, room_);
        insertSampleMeeting(*file, duration);
    } catch (const VarnelSpeech::Cancelled&) { // this object is going
    }
}

void AppState::insertSampleMeeting(const std::filesystem::path& file, double duration) {
    const auto sampleSpeakers = MockTranscriber::sampleSpeakers();
    const auto sampleSegments = MockTranscriber::sampleSegments(sampleSpeakers, duration);
    const auto meeting = std::make_shared<Meeting>(
        QUuid::createUuid(), QStringLiteral("Imported ") + QString::fromStdString(file.stem().string()), clock_->now(),
        QStringLiteral("Imported"), std::nullopt, std::nullopt, duration);
    modelContext_.insert(meeting);
    QHash<QUuid, std::shared_ptr<Speaker>> speakers;
    for (const auto& sample : sampleSpeakers) {
        const auto speaker = std::make_shared<Speaker>(sample.id, sample.name, sample.colorHex, sample.isYou);
        modelContext_.insert(speaker);
        speaker->setMeeting(meeting);
        speakers.insert(sample.id, speaker);
    }
    for (const auto& sample : sampleSegments) {
        const auto line = std::make_shared<TranscriptSegment>(sample.id, sample.startTime, sample.endTime, sample.text,
                                                              speakers.value(sample.speakerID));
        modelContext_.insert(line);
        line->setMeeting(meeting);
    }
    saveIgnoringFailure();
    selectMeeting(meeting->id());
}

} // namespace Varnel
