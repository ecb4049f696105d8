#include "Varnel/CommandLine/MeetingJson.h"

#include "Varnel/CommandLine/TranscriptLines.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/TranscriptSegment.h"

#include <nlohmann/json.hpp>

namespace Varnel::CommandLine {

namespace {

using Json = nlohmann::ordered_json;

void add(Json& object, const char* key, const std::optional<QString>& value) {
    if (value)
        object[key] = value->toStdString();
}

Json json(const ActionItem& item) {
    Json object{{"text", item.text.toStdString()}};
    add(object, "assignee", item.assignee);
    if (item.timestamp)
        object["timestamp"] = *item.timestamp;
    return object;
}

Json json(const Topic& topic) {
    return {
        {"title", topic.title.toStdString()}, {"startSeconds", topic.startSeconds}, {"endSeconds", topic.endSeconds}};
}

Json json(const CalendarAttendee& attendee) {
    Json object{{"name", attendee.name.toStdString()}};
    add(object, "email", attendee.email);
    return object;
}

Json json(const Speaker& speaker) {
    return {{"id", text(speaker.id()).toStdString()},
            {"name", speaker.name().toStdString()},
            {"colorHex", speaker.colorHex().toStdString()},
            {"isYou", speaker.isYou()}};
}

template <typename Value>
Json array(const QList<Value>& values) {
    Json result = Json::array();
    for (const Value& value : values)
        result.push_back(json(value));
    return result;
}

} // namespace

Json meetingJson(const Meeting& meeting) {
    Json object;
    object["id"] = text(meeting.id()).toStdString();
    object["title"] = meeting.title().toStdString();
    object["startedAt"] = meeting.startedAt().toUTC().toString(Qt::ISODate).toStdString();
    object["duration"] = meeting.duration();
    add(object, "sourceApp", meeting.sourceApp());
    add(object, "audioFilePath", meeting.audioFilePath());
    add(object, "systemAudioFilePath", meeting.systemAudioFilePath());
    add(object, "summary", meeting.summary());
    add(object, "calendarEventTitle", meeting.calendarEventTitle());
    object["speakers"] = Json::array();
    for (const auto& speaker : meeting.speakers())
        object["speakers"].push_back(json(*speaker));
    return object;
}

Json wholeMeetingJson(const Meeting& meeting) {
    Json object = meetingJson(meeting);
    object["actionItems"] = array(meeting.actionItems());
    object["topics"] = array(meeting.topics());
    object["calendarAttendees"] = array(meeting.calendarAttendees());
    object["segments"] = Json::array();
    for (const auto& segment : segmentsInOrder(meeting)) {
        Json line{{"id", text(segment->id()).toStdString()},
                  {"startTime", segment->startTime()},
                  {"endTime", segment->endTime()},
                  {"text", segment->text().toStdString()}};
        if (segment->speaker())
            line["speaker"] = text(segment->speaker()->id()).toStdString();
        object["segments"].push_back(std::move(line));
    }
    return object;
}

} // namespace Varnel::CommandLine
