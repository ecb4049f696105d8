#include "Varnel/Refinement/SpeakerLookup.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Varnel {

namespace {

// A time that is no number covers nothing and is near to nothing.
double start(const VarnelSpeech::TimedSpeakerSegment& segment) {
    return std::isnan(segment.startTimeSeconds) ? std::numeric_limits<double>::infinity() : segment.startTimeSeconds;
}

double end(const VarnelSpeech::TimedSpeakerSegment& segment) {
    return std::isnan(segment.endTimeSeconds) ? -std::numeric_limits<double>::infinity() : segment.endTimeSeconds;
}

} // namespace

SpeakerLookup::SpeakerLookup(const std::vector<VarnelSpeech::TimedSpeakerSegment>& segments) {
    sorted_.reserve(segments.size());
    for (const auto& segment : segments)
        sorted_.push_back(&segment);
    std::stable_sort(sorted_.begin(), sorted_.end(),
                     [](const auto* left, const auto* right) { return start(*left) < start(*right); });
    starts_.reserve(segments.size());
    latestEnds_.reserve(segments.size());
    double latest = -std::numeric_limits<double>::infinity();
    for (const auto* segment : sorted_) {
        starts_.push_back(start(*segment));
        latest = std::max(latest, end(*segment));
        latestEnds_.push_back(latest);
    }
}

const VarnelSpeech::TimedSpeakerSegment& SpeakerLookup::at(double time) const {
    if (std::isnan(time))
        return *sorted_.front();
    // Those before this index have started. The first of them with an end at or after `time` is where the running
    // maximum of the ends first gets there: a maximum rises only at an element that holds it.
    const auto started =
        static_cast<std::size_t>(std::upper_bound(starts_.begin(), starts_.end(), time) - starts_.begin());
    const auto covering =
        static_cast<std::size_t>(std::lower_bound(latestEnds_.begin(), latestEnds_.end(), time) - latestEnds_.begin());
    return *sorted_[covering < started ? covering : nearestStart(time, started)];
}

std::size_t SpeakerLookup::nearestStart(double time, std::size_t startedCount) const {
    if (startedCount == 0)
        return 0;
    const double before = time - starts_[startedCount - 1];
    if (startedCount < starts_.size() && starts_[startedCount] - time < before)
        return startedCount;
    // Distances fall up to here; of the equal ones at the end the first counts.
    const auto nearest =
        std::partition_point(starts_.begin(), starts_.begin() + static_cast<std::ptrdiff_t>(startedCount),
                             [&](double start) { return time - start > before; });
    return static_cast<std::size_t>(nearest - starts_.begin());
}

} // namespace Varnel
