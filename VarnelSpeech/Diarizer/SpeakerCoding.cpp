#include "VarnelSpeech/Diarizer/SpeakerCoding.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace VarnelSpeech {

namespace {

using Json = nlohmann::ordered_json;
using Case = SpeakerCodingError::Case;

[[noreturn]] void throwInvalid(const char* field) {
    throw SpeakerCodingError(Case::invalidField, std::string("Invalid speaker field: ") + field);
}

std::int64_t encodeDate(Date date) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(date.time_since_epoch()).count();
}

const Json& field(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) {
        throw SpeakerCodingError(Case::missingField, std::string("Missing speaker field: ") + name);
    }
    return *found;
}

std::string decodeString(const Json& object, const char* name) {
    const Json& value = field(object, name);
    if (!value.is_string()) {
        throwInvalid(name);
    }
    return value.get<std::string>();
}

std::int64_t decodeInteger(const Json& object, const char* name) {
    const Json& value = field(object, name);
    if (!value.is_number_integer() ||
        (value.is_number_unsigned() && value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max())) {
        throwInvalid(name);
    }
    return value.get<std::int64_t>();
}

Date decodeDate(const Json& object, const char* name) {
    const std::chrono::nanoseconds time(decodeInteger(object, name));
    return Date(std::chrono::duration_cast<Date::duration>(time));
}

float floatOf(const Json& value, const char* name) {
    if (value.is_null()) {
        return std::numeric_limits<float>::quiet_NaN();
    }
    if (!value.is_number()) {
        throwInvalid(name);
    }
    const double number = value.get<double>();
    if (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
        throwInvalid(name);
    }
    return static_cast<float>(number);
}

std::vector<float> decodeFloats(const Json& object, const char* name) {
    const Json& values = field(object, name);
    if (!values.is_array()) {
        throwInvalid(name);
    }
    std::vector<float> decoded;
    decoded.reserve(values.size());
    for (const Json& value : values) {
        decoded.push_back(floatOf(value, name));
    }
    return decoded;
}

RawEmbedding decodeRawEmbedding(const Json& object) {
    if (!object.is_object()) {
        throwInvalid("rawEmbeddings");
    }
    const auto segmentId = UUID::parse(decodeString(object, "segmentId"));
    if (!segmentId) {
        throwInvalid("segmentId");
    }
    return {*segmentId, decodeFloats(object, "embedding"), decodeDate(object, "timestamp")};
}

SpeakerFields decodeFields(const Json& object) {
    SpeakerFields fields;
    fields.id = decodeString(object, "id");
    fields.name = decodeString(object, "name");
    fields.currentEmbedding = decodeFloats(object, "currentEmbedding");
    fields.duration = floatOf(field(object, "duration"), "duration");
    fields.createdAt = decodeDate(object, "createdAt");
    fields.updatedAt = decodeDate(object, "updatedAt");
    fields.updateCount = decodeInteger(object, "updateCount");
    const Json& history = field(object, "rawEmbeddings");
    if (!history.is_array()) {
        throwInvalid("rawEmbeddings");
    }
    for (const Json& raw : history) {
        fields.rawEmbeddings.push_back(decodeRawEmbedding(raw));
    }
    const Json& isPermanent = field(object, "isPermanent");
    if (!isPermanent.is_boolean()) {
        throwInvalid("isPermanent");
    }
    fields.isPermanent = isPermanent.get<bool>();
    return fields;
}

} // namespace

std::string encodeSpeaker(const Speaker& speaker) {
    Json history = Json::array();
    for (const RawEmbedding& raw : speaker.rawEmbeddings()) {
        history.push_back({{"segmentId", raw.segmentId.text()},
                           {"embedding", raw.embedding},
                           {"timestamp", encodeDate(raw.timestamp)}});
    }
    const Json object = {{"id", speaker.id()},
                         {"name", speaker.name()},
                         {"currentEmbedding", speaker.currentEmbedding()},
                         {"duration", speaker.duration()},
                         {"createdAt", encodeDate(speaker.createdAt())},
                         {"updatedAt", encodeDate(speaker.updatedAt())},
                         {"updateCount", speaker.updateCount()},
                         {"rawEmbeddings", std::move(history)},
                         {"isPermanent", speaker.isPermanent()}};
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::shared_ptr<Speaker> decodeSpeaker(std::string_view json) {
    const Json object = Json::parse(json, nullptr, false);
    if (!object.is_object()) {
        throw SpeakerCodingError(Case::malformed, "Not a speaker: expected a JSON object");
    }
    SpeakerFields fields = decodeFields(object);
    const Date now = *fields.updatedAt;
    return std::make_shared<Speaker>(std::move(fields), now);
}

} // namespace VarnelSpeech
