// What AppState does with a recording's audio once it is on disk.

#include "Varnel/Core/AppState.h"
#include "Varnel/Core/SpeakerBuilding.h"
#include "Varnel/Core/VoiceMatching.h"
#include "Varnel/Models/DecimalForm.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Platform/ApplicationLog.h"

#include <QPointer>

#include <exception>
#include <unordered_map>
#include <utility>

namespace Varnel {

namespace {

void deleteTranscript(ModelContext& context, const Meeting& meeting) {
    const auto segments = meeting.segments();
    const auto speakers = meeting.speakers(); // both are read before anything goes, for reading may fail
    for (const auto& segment : segments)
        context.remove(segment);
    for (const auto& speaker : speakers)
        context.remove(speaker);
}

// Everything on the microphone is the user; the voices of the system's stream are the others.
void attributeSystem(const SpeakerBuilding& building, ModelContext& context, const std::shared_ptr<Meeting>& meeting,
                     const std::vector<Output::Segment>& segments) {
    const auto speakers = building.build(segments, [](const SpeakerReidentifier::Match& match) {
        log(QStringLiteral("Speaker re-id matched '") + match.name + QStringLiteral("' sim=") +
            floatDecimalForm(match.similarity));
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

// The progress of one of several files, as a part of the whole.
TranscriptionEngine::Progress part(const TranscriptionEngine::Progress& whole, double from, double to) {
    if (!whole)
        return {};
    return [whole, from, to](double share) { whole(from + share * (to - from)); };
}

} // namespace

QCoro::Task<> AppState::transcribeMeeting(QUuid meetingID, std::filesystem::path micFile,
                                          std::optional<std::filesystem::path> systemFile,
                                          TranscriptionEngine::Progress progress, std::stop_token stop) {
    const QPointer<AppState> self(this);
    setTranscribing(meetingID, true);
    const double micShare = systemFile ? 0.5 : 1.0;
    Output mic;
    try {
        mic = co_await transcriptionEngine_.transcribe(std::move(micFile), part(progress, 0, micShare), stop);
    } catch (const std::exception& error) {
        if (self)
            failTranscription(meetingID, QString::fromUtf8(error.what()));
        co_return;
    }
    if (!self)
        co_return;
    std::optional<std::vector<Output::Segment>> systemSegments;
    if (systemFile) {
        try {
            Output system =
                co_await transcriptionEngine_.transcribe(std::move(*systemFile), part(progress, micShare, 1), stop);
            systemSegments = std::move(system.segments);
        } catch (const std::exception& error) {
            const QString reason = QString::fromUtf8(error.what());
            if (stop.stop_requested()) { // not a recording of the microphone alone
                if (self)
                    failTranscription(meetingID, reason);
                co_return;
            }
            log(QStringLiteral("System audio transcription failed: ") + reason);
        }
        if (!self)
            co_return;
    }
    try {
        applyTranscription(meetingID, mic.segments, systemSegments);
    } catch (const std::exception& error) { // the store cannot be read
        failTranscription(meetingID, QString::fromUtf8(error.what()));
        co_return;
    }
    setTranscribing(meetingID, false);
}

void AppState::failTranscription(const QUuid& meetingID, const QString& reason) {
    log(QStringLiteral("Transcription failed for ") + text(meetingID) + QStringLiteral(": ") + reason);
    setTranscribing(meetingID, false);
    Q_EMIT transcriptionFailed(meetingID, reason);
}

void AppState::applyTranscription(const QUuid& meetingID, const std::vector<Output::Segment>& micSegments,
                                  const std::optional<std::vector<Output::Segment>>& systemSegments) {
    const std::shared_ptr<Meeting> meeting = fetchMeeting(meetingID);
    if (!meeting)
        return;
    deleteTranscript(modelContext_, *meeting);
    const auto digest = embeddingNetwork_.digest();
    const auto match = [&](const Speaker::Embedding& embedding) {
        return matchVoice(embedding, meetingID, modelContext_, digest);
    };
    const SpeakerBuilding building(modelContext_, meeting, match, digest);
    const QString youKey = micSegments.empty() ? QString() : micSegments.front().speakerKey;
    const auto you = building.buildYou(SpeakerReidentifier::meanEmbedding(youKey, micSegments));
    for (const auto& segment : micSegments)
        insertSegment(modelContext_, meeting, segment, you);

    if (systemSegments)
        attributeSystem(building, modelContext_, meeting, *systemSegments);
    else if (countKeys(micSegments) >= 2)
        attributeRoom(building, modelContext_, *meeting, you, micSegments);

    saveIgnoringFailure();
    startAI(meetingID);
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
