// What AppState does with a recording's audio once it is on disk.

#include "Varnel/Core/AppState.h"
#include "Varnel/Core/SpeakerBuilding.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Platform/ApplicationLog.h"

#include <QPointer>

#include <exception>
#include <string>
#include <unordered_map>
#include <utility>

namespace Varnel {

namespace {

void deleteTranscript(ModelContext& context, const Meeting& meeting) {
    const auto segments = meeting.segments();
    for (const auto& segment : segments)
        context.remove(segment);
    const auto speakers = meeting.speakers();
    for (const auto& speaker : speakers)
        context.remove(speaker);
}

// Everything on the microphone is the user; the voices of the system's stream are the others.
void attributeSystem(const SpeakerBuilding& building, ModelContext& context, const std::shared_ptr<Meeting>& meeting,
                     const std::vector<Output::Segment>& segments) {
    const auto speakers = building.build(segments, [](const SpeakerReidentifier::Match& match) {
        log(QStringLiteral("Speaker re-id matched '%1' sim=%2").arg(match.name).arg(match.similarity));
    });
    for (const auto& segment : segments)
        insertSegment(context, meeting, segment, speakers.at(segment.speakerKey));
}

std::size_t countKeys(const std::vector<Output::Segment>& segments) {
    QSet<QString> keys;
    for (const auto& segment : segments)
        keys.insert(segment.speakerKey);
    return static_cast<std::size_t>(keys.size());
}

// The microphone heard a room: its voices are told apart, and none of them is the user unless it is recognised.
void attributeRoom(const SpeakerBuilding& building, ModelContext& context, const Meeting& meeting,
                   const std::shared_ptr<Speaker>& you, const std::vector<Output::Segment>& segments) {
    const auto lines = meeting.segments();
    for (const auto& line : lines) {
        if (line->speaker() == you)
            line->setSpeaker(nullptr);
    }
    context.remove(you);
    const auto speakers = building.build(segments);
    // A line's start time is the only link back to its key; of two equal ones the first counts.
    std::unordered_map<double, const QString*> keysByStart;
    for (const auto& segment : segments)
        keysByStart.try_emplace(segment.startTime, &segment.speakerKey);
    for (const auto& line : lines) {
        const auto found = keysByStart.find(line->startTime());
        if (!line->speaker() && found != keysByStart.end())
            line->setSpeaker(speakers.at(*found->second));
    }
}

} // namespace

QCoro::Task<> AppState::transcribeMeeting(QUuid meetingID, std::filesystem::path micFile,
                                          std::optional<std::filesystem::path> systemFile) {
    const QPointer<AppState> self(this);
    setTranscribing(meetingID, true);
    Output mic;
    try {
        mic = co_await transcriptionEngine_.transcribe(std::move(micFile));
    } catch (const std::exception& error) {
        if (self) {
            log(QStringLiteral("Transcription failed for ") + text(meetingID) + QStringLiteral(": ") +
                QString::fromUtf8(error.what()));
            setTranscribing(meetingID, false);
        }
        co_return;
    }
    if (!self)
        co_return;
    std::optional<Output> system;
    if (systemFile) {
        try {
            system = co_await transcriptionEngine_.transcribe(std::move(*systemFile));
        } catch (const std::exception& error) {
            log(QStringLiteral("System audio transcription failed: ") + QString::fromUtf8(error.what()));
        }
        if (!self)
            co_return;
    }
    std::optional<std::vector<Output::Segment>> systemSegments;
    if (system)
        systemSegments = std::move(system->segments);
    applyTranscription(meetingID, mic.segments, systemSegments);
    setTranscribing(meetingID, false);
}

void AppState::applyTranscription(const QUuid& meetingID, const std::vector<Output::Segment>& micSegments,
                                  const std::optional<std::vector<Output::Segment>>& systemSegments) {
    const std::shared_ptr<Meeting> meeting = fetchMeeting(meetingID);
    if (!meeting)
        return;
    deleteTranscript(modelContext_, *meeting);
    const SpeakerBuilding building(modelContext_, meeting, [this, meetingID](const Speaker::Embedding& embedding) {
        return voiceMatcher(embedding, meetingID, modelContext_);
    });
    const QString youKey = micSegments.empty() ? QString() : micSegments.front().speakerKey;
    const auto you = building.buildYou(SpeakerReidentifier::meanEmbedding(youKey, micSegments));
    for (const auto& segment : micSegments)
        insertSegment(modelContext_, meeting, segment, you);

    if (systemSegments)
        attributeSystem(building, modelContext_, meeting, *systemSegments);
    else if (countKeys(micSegments) >= 2)
        attributeRoom(building, modelContext_, *meeting, you, micSegments);

    try {
        modelContext_.save();
    } catch (const std::exception&) { // stays pending until the next save
    }
    startAI(meetingID);
}

void AppState::startAI(const QUuid& meetingID) {
    if (!settings_.boolean(SettingKeys::aiEnabled))
        return;
    QMetaObject::invokeMethod(
        this,
        [this, meetingID] {
            if (runAI)
                runAI(meetingID);
        },
        Qt::QueuedConnection);
}

void AppState::setTranscribing(const QUuid& meetingID, bool isTranscribing) {
    const bool was = transcribingMeetingIDs_.contains(meetingID);
    if (isTranscribing)
        transcribingMeetingIDs_.insert(meetingID);
    else
        transcribingMeetingIDs_.remove(meetingID);
    if (was != isTranscribing)
        Q_EMIT transcribingMeetingIDsChanged();
}

} // namespace Varnel
