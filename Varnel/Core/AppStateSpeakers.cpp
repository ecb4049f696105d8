// What AppState does with the speakers of one meeting, and with all that bear a name.

#include "Varnel/Core/AppState.h"

#include <algorithm>
#include <exception>

namespace Varnel {

namespace {

using Speakers = std::vector<std::shared_ptr<Speaker>>;
using Segments = std::vector<std::shared_ptr<TranscriptSegment>>;

// Copies, for what follows changes the lists. None of a meeting that is gone or cannot be read.
Speakers speakersOf(const std::shared_ptr<Meeting>& meeting) {
    try {
        return meeting ? meeting->speakers() : Speakers();
    } catch (const std::exception&) {
        return {};
    }
}

std::shared_ptr<Speaker> find(const Speakers& speakers, const QUuid& id) {
    const auto found =
        std::find_if(speakers.begin(), speakers.end(), [&id](const auto& speaker) { return speaker->id() == id; });
    return found == speakers.end() ? nullptr : *found;
}

// The meeting's lines by that speaker; none when they cannot be read.
std::optional<Segments> linesBy(const Meeting& meeting, const QUuid& speakerID) {
    try {
        Segments lines;
        for (const auto& line : meeting.segments()) {
            if (line->speaker() && line->speaker()->id() == speakerID)
                lines.push_back(line);
        }
        return lines;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

void AppState::renameSpeaker(QUuid meetingID, QUuid speakerID, const QString& name) {
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return;
    if (const auto speaker = find(speakersOf(fetchMeeting(meetingID)), speakerID)) {
        speaker->setName(trimmed);
        saveIgnoringFailure();
    }
}

void AppState::markSpeakerAsYou(QUuid meetingID, QUuid speakerID) {
    for (const auto& speaker : speakersOf(fetchMeeting(meetingID))) {
        const bool isYou = speaker->id() == speakerID;
        if (speaker->isYou() != isYou)
            speaker->setIsYou(isYou);
    }
    saveIgnoringFailure();
}

void AppState::mergeSpeaker(QUuid meetingID, QUuid sourceID, QUuid targetID) {
    const auto meeting = fetchMeeting(meetingID);
    const Speakers speakers = speakersOf(meeting);
    const auto source = find(speakers, sourceID);
    const auto target = find(speakers, targetID);
    if (!source || !target)
        return;
    const auto lines = linesBy(*meeting, sourceID);
    if (!lines)
        return;
    for (const auto& line : *lines)
        line->setSpeaker(target);
    modelContext_.remove(source);
    saveIgnoringFailure();
}

Speakers AppState::speakersNamed(const QString& name) const {
    FetchDescriptor<Speaker> named;
    named.predicate = [&name](const Speaker& speaker) { return speaker.name() == name; };
    try {
        return modelContext_.fetchSpeakers(named);
    } catch (const std::exception&) {
        return {};
    }
}

void AppState::renameSpeakerEverywhere(const QString& oldName, const QString& newName) {
    const QString trimmed = newName.trimmed();
    if (trimmed.isEmpty())
        return;
    for (const auto& speaker : speakersNamed(oldName))
        speaker->setName(trimmed);
    saveIgnoringFailure();
}

void AppState::recolorSpeakerEverywhere(const QString& name, const QString& colorHex) {
    for (const auto& speaker : speakersNamed(name))
        speaker->setColorHex(colorHex);
    saveIgnoringFailure();
}

void AppState::forgetSpeakerVoice(const QString& name) {
    for (const auto& speaker : speakersNamed(name)) {
        speaker->setEmbedding(std::nullopt);
        speaker->setIsYou(false);
    }
    saveIgnoringFailure();
}

void AppState::deleteSpeakerEverywhere(const QString& name) {
    for (const auto& speaker : speakersNamed(name)) {
        speaker->setMeeting(nullptr);
        modelContext_.remove(speaker);
    }
    saveIgnoringFailure();
}

} // namespace Varnel
