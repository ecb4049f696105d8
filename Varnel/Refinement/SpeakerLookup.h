#pragma once

#include "VarnelSpeech/Diarizer/DiarizationResult.h"

#include <cstddef>
#include <vector>

namespace Varnel {

// Who speaks at a point in time, over a diarizer's segments in any order, overlaps and gaps included.
class SpeakerLookup {
public:
    // At least one segment; they must outlive the object.
    explicit SpeakerLookup(const std::vector<VarnelSpeech::TimedSpeakerSegment>& segments);

    // The first of the segments, sorted by their start (stable), that covers `time` in seconds, both ends included;
    // if none does, the one whose start is nearest, the earlier one of two.
    const VarnelSpeech::TimedSpeakerSegment& at(double time) const;

private:
    std::size_t nearestStart(double time, std::size_t startedCount) const;

    std::vector<const VarnelSpeech::TimedSpeakerSegment*> sorted_;
    std::vector<double> starts_;     // seconds, ascending
    std::vector<double> latestEnds_; // of the segments up to each one: ascending
};

} // namespace Varnel
