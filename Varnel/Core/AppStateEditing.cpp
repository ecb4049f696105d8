// What AppState does with stored meetings: transcribing them again, deleting and renaming them.

#include "Varnel/Core/AppState.h"
#include "Varnel/Core/RecordingsFolder.h"

#include <QFile>

#include <exception>
#include <system_error>
#include <utility>

namespace Varnel {

namespace {

// The file of a record's path, if something is there.
std::optional<std::filesystem::path> existingFile(const std::optional<QString>& path) {
    if (!path)
        return std::nullopt;
    const std::filesystem::path file = QFile::encodeName(*path).toStdString();
    std::error_code ignored;
    return std::filesystem::exists(file, ignored) ? std::optional(file) : std::nullopt;
}

} // namespace

QCoro::Task<> AppState::retranscribe(QUuid meetingID, TranscriptionEngine::Progress progress, std::stop_token stop) {
    const QString mark = QStringLiteral("(re-transcribed)");
    bool isOnDisk = false;
    if (const auto meeting = fetchMeeting(meetingID)) {
        isOnDisk = existingFile(meeting->audioFilePath()).has_value();
        if (!isOnDisk) {
            if (!meeting->title().endsWith(mark))
                meeting->setTitle(meeting->title() + u' ' + mark);
            saveIgnoringFailure();
        }
    }
    if (isOnDisk)
        co_await retranscribeFromDisk(meetingID, std::move(progress), std::move(stop));
}

QCoro::Task<> AppState::retranscribeFromDisk(QUuid meetingID, TranscriptionEngine::Progress progress,
                                             std::stop_token stop) {
    std::optional<std::filesystem::path> micFile;
    std::optional<std::filesystem::path> systemFile;
    if (const auto meeting = fetchMeeting(meetingID)) {
        micFile = existingFile(meeting->audioFilePath());
        systemFile = existingFile(meeting->systemAudioFilePath());
    }
    if (micFile)
        co_await transcribeMeeting(meetingID, std::move(*micFile), std::move(systemFile), std::move(progress),
                                   std::move(stop));
}

void AppState::deleteMeeting(QUuid meetingID) {
    if (const auto meeting = fetchMeeting(meetingID)) {
        deleteAudioFile(*meeting);
        modelContext_.remove(meeting);
        saveIgnoringFailure();
    }
    unselect({meetingID});
}

void AppState::deleteMeetings(QSet<QUuid> ids) {
    for (const QUuid& id : std::as_const(ids)) {
        if (const auto meeting = fetchMeeting(id)) {
            deleteAudioFile(*meeting);
            modelContext_.remove(meeting);
        }
    }
    saveIgnoringFailure();
    unselect(ids);
}

// The system's audio is left on disk: nothing cleans it up.
void AppState::deleteAudioFile(const Meeting& meeting) {
    const auto& path = meeting.audioFilePath();
    if (!path)
        return;
    if (waveforms_ != nullptr)
        waveforms_->forget(*path);
    removeRecording(QFile::encodeName(*path).toStdString(), recordingsFolder_);
}

void AppState::unselect(const QSet<QUuid>& ids) {
    const QSet<QUuid> rest = selectedMeetingIDs_ - ids;
    if (rest.isEmpty())
        selectMeeting(newestMeetingID());
    else
        setSelectedMeetingIDs(rest);
}

std::optional<QUuid> AppState::newestMeetingID() const {
    FetchDescriptor<Meeting> newestFirst;
    newestFirst.areInIncreasingOrder = [](const Meeting& left, const Meeting& right) {
        return left.startedAt() > right.startedAt();
    };
    newestFirst.limit = 1;
    try {
        const auto newest = modelContext_.fetchMeetings(newestFirst);
        return newest.empty() ? std::nullopt : std::optional(newest.front()->id());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void AppState::renameMeeting(QUuid meetingID, const QString& title) {
    const QString trimmed = title.trimmed();
    if (trimmed.isEmpty())
        return;
    if (const auto meeting = fetchMeeting(meetingID)) {
        meeting->setTitle(trimmed);
        saveIgnoringFailure();
    }
}

} // namespace Varnel
