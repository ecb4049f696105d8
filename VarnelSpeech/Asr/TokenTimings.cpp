#include "VarnelSpeech/Asr/TokenTimings.h"

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "VarnelSpeech/Asr/TranscriptText.h"

#include <algorithm>
#include <numeric>

namespace VarnelSpeech {

namespace {

constexpr double frameSeconds = ASRConstants::secondsPerEncoderFrame;
constexpr double shortestToken = 0.001; // seconds

std::vector<std::size_t> placesByTime(const std::vector<int>& timestamps) {
    std::vector<std::size_t> places(timestamps.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::stable_sort(places.begin(), places.end(),
                     [&](std::size_t first, std::size_t second) { return timestamps[first] < timestamps[second]; });
    return places;
}

double endTime(double start, int duration, const double* nextStart) {
    double end = start + frameSeconds;
    if (duration >= 1) {
        end = start + std::max(duration * frameSeconds, frameSeconds);
    } else if (nextStart != nullptr) {
        end = std::max(*nextStart, end);
    }
    return std::max(end, start + shortestToken);
}

} // namespace

std::vector<TokenTiming> createTokenTimings(const std::vector<int>& tokenIds, const std::vector<int>& timestamps,
                                            const std::vector<float>& confidences,
                                            const std::vector<int>& tokenDurations, const Vocabulary& vocabulary) {
    std::vector<TokenTiming> timings;
    if (tokenIds.empty() || timestamps.size() != tokenIds.size() || confidences.size() != tokenIds.size()) {
        return timings;
    }
    timings.reserve(tokenIds.size());
    const std::vector<std::size_t> places = placesByTime(timestamps);
    for (std::size_t i = 0; i < places.size(); ++i) {
        const std::size_t place = places[i];
        const double start = timestamps[place] * frameSeconds;
        const bool isLast = i + 1 == places.size();
        const double nextStart = isLast ? 0.0 : timestamps[places[i + 1]] * frameSeconds;
        const int duration = place < tokenDurations.size() ? tokenDurations[place] : 0;
        timings.push_back({timedTokenText(tokenIds[place], vocabulary), tokenIds[place], start,
                           endTime(start, duration, isLast ? nullptr : &nextStart), confidences[place]});
    }
    return timings;
}

std::vector<TokenTiming> keepTokenTimings(const std::vector<int>& tokenIds,
                                          const std::vector<TokenTiming>& existingTimings,
                                          const Vocabulary& vocabulary) {
    std::vector<TokenTiming> timings;
    for (std::size_t place = 0; place < std::min(tokenIds.size(), existingTimings.size()); ++place) {
        const auto entry = vocabulary.find(tokenIds[place]);
        if (entry == vocabulary.end() || entry->second.empty()) {
            continue;
        }
        timings.push_back(existingTimings[place]);
        timings.back().token = withBlanks(timings.back().token);
    }
    return timings;
}

} // namespace VarnelSpeech
