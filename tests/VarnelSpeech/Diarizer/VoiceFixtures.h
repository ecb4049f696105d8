#pragma once

#include "VarnelSpeech/Diarizer/Date.h"
#include "VarnelSpeech/Diarizer/Speaker.h"
#include "VarnelSpeech/Diarizer/SpeakerManager.h"
#include "support/LogRecorder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace VarnelSpeech::Testing {

inline constexpr float noNumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float infinity = std::numeric_limits<float>::infinity();

// The unit vector along one axis: the voices of different axes have distance 1.
inline std::vector<float> voice(std::size_t axis, std::size_t size = SpeakerManager::embeddingSize) {
    std::vector<float> values(size);
    values[axis] = 1;
    return values;
}

// A unit vector at `distance` from voice(axis), leaning towards `other`.
inline std::vector<float> voiceAt(float distance, std::size_t axis, std::size_t other) {
    std::vector<float> values(SpeakerManager::embeddingSize);
    const float cosine = 1 - distance;
    values[axis] = cosine;
    values[other] = std::sqrt(1 - cosine * cosine);
    return values;
}

inline Date day(int number) {
    return Date(std::chrono::hours(24 * number));
}

// A clock that stands until it is moved.
struct TestClock {
    std::shared_ptr<Date> time = std::make_shared<Date>(day(20000));

    DateSource source() const {
        return [shared = time] { return *shared; };
    }

    void advance(std::chrono::seconds by) const { *time += by; }
};

inline std::shared_ptr<Speaker> speaker(const std::string& id, const std::vector<float>& embedding) {
    return std::make_shared<Speaker>(embedding, id, "Speaker " + id, 1.0F, day(1));
}

inline SpeakerFields fieldsOf(const std::string& id, std::vector<float> embedding) {
    SpeakerFields fields;
    fields.id = id;
    fields.name = "Speaker " + id;
    fields.currentEmbedding = std::move(embedding);
    return fields;
}

// `count` observations of one voice, a day apart from `firstDay` on.
inline std::vector<RawEmbedding> observations(int count, int firstDay, const std::vector<float>& embedding) {
    std::vector<RawEmbedding> made;
    for (int i = 0; i < count; ++i) {
        made.emplace_back(UUID::fresh(), embedding, day(firstDay + i));
    }
    return made;
}

inline bool hasLine(const LogRecorder& log, AppLogger::Level level, const std::string& message) {
    const auto lines = log.messages(level);
    return std::find(lines.begin(), lines.end(), message) != lines.end();
}

// As the diarizer builds it.
struct Registry {
    TestClock clock;
    SpeakerManager manager{0.84F, 0.56F, 1.0F, 2.0F, clock.source()};

    SpeakerManager* operator->() { return &manager; }
};

using Strings = std::vector<std::string>;

} // namespace VarnelSpeech::Testing
