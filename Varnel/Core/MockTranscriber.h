#pragma once

#include "Varnel/Models/LiveTranscript.h"

#include <QString>

#include <array>
#include <functional>
#include <vector>

namespace Varnel {

class ModelContext;
class Settings;

// The sample data that stands for a transcript where there is none yet.
namespace MockTranscriber {

inline constexpr std::array<const char*, 13> sampleLines{
    "Hey everyone, can you hear me?",
    "Yes, loud and clear.",
    "Great, let's get started.",
    "I'll share my screen now.",
    "Make sure to mute when not talking.",
    "I had a question about the spec doc.",
    "Yeah, the embeddings part needs more detail.",
    "I can write that section by tomorrow.",
    "Sounds good. Anything else blocking?",
    "Not from me.",
    "Same here.",
    "Cool, let's wrap.",
    "Thanks all, talk soon.",
};

// "You" and two others, each with a fresh id.
std::vector<LiveSpeaker> sampleSpeakers();

// A uniform value between two bounds, both included.
using Random = std::function<double(double low, double high)>;
// Seeded from the system.
Random systemRandom();

// Lines of 3 to 7 seconds, parted by 0.2 to 1 second, that cover `duration` seconds; speakers and texts go round.
// Empty for a duration that is not above 0. Throws std::invalid_argument without speakers and for a duration beyond
// `longestDuration`.
std::vector<LiveSegment> sampleSegments(const std::vector<LiveSpeaker>& speakers, double duration,
                                        const Random& random = systemRandom());
inline constexpr double longestDuration = 1e7; // seconds: what keeps the list within some hundred megabytes

// Deletes, once in the life of a store, the demonstration meetings that an early version left in it; a meeting of the
// user's that bears such a title goes too. Failures of the store are ignored; those of writing the setting are thrown.
void removeSeededMeetings(ModelContext& context, Settings& settings);

} // namespace MockTranscriber

} // namespace Varnel
