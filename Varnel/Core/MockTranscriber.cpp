#include "Varnel/Core/MockTranscriber.h"

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Models/Settings.h"
#include "Varnel/Models/SpeakerColors.h"

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>

namespace Varnel::MockTranscriber {

std::vector<LiveSpeaker> sampleSpeakers() {
    return {
        {QUuid::createUuid(), QStringLiteral("You"), QLatin1String(yourColor), true},
        {QUuid::createUuid(), QStringLiteral("Speaker 2"), speakerColor(0), false},
        {QUuid::createUuid(), QStringLiteral("Speaker 3"), speakerColor(1), false},
    };
}

Random systemRandom() {
    auto engine = std::make_shared<std::mt19937_64>(std::random_device{}());
    return [engine](double low, double high) { return std::uniform_real_distribution<double>(low, high)(*engine); };
}

std::vector<LiveSegment> sampleSegments(const std::vector<LiveSpeaker>& speakers, double duration,
                                        const Random& random) {
    if (!(duration > 0))
        return {};
    if (speakers.empty())
        throw std::invalid_argument("sample segments need a speaker");
    if (duration > longestDuration)
        throw std::invalid_argument("too long for sample segments");
    std::vector<LiveSegment> segments;
    std::size_t i = 0;
    for (double t = 0; t < duration; ++i) {
        const double end = std::min(t + random(3, 7), duration);
        segments.push_back({QUuid::createUuid(), speakers[i % speakers.size()].id, t, end,
                            QString::fromLatin1(sampleLines[i % sampleLines.size()])});
        t = end + random(0.2, 1.0);
    }
    return segments;
}

void removeSeededMeetings(ModelContext& context, Settings& settings) {
    if (settings.boolean(SettingKeys::didCleanupSeededMockMeetings_v1))
        return;
    static const QStringList titles{QStringLiteral("Engineering standup"), QStringLiteral("Product sync - v1 scope"),
                                    QStringLiteral("1:1 with Sam")};
    try {
        FetchDescriptor<Meeting> seeded;
        seeded.predicate = [](const Meeting& meeting) { return titles.contains(meeting.title()); };
        for (const auto& meeting : context.fetchMeetings(seeded))
            context.remove(meeting);
        context.save();
    } catch (const std::exception&) { // what was not saved stays pending until the next save
    }
    settings.set(SettingKeys::didCleanupSeededMockMeetings_v1, true);
}

} // namespace Varnel::MockTranscriber
