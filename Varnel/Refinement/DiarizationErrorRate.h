#pragma once

#include "Varnel/Refinement/SpeakerTurn.h"

#include <cstddef>
#include <vector>

namespace Varnel {

// How far a hypothesis of who spoke when is from a reference, as the NIST speech evaluations define it: where fewer
// speak in the hypothesis than in the reference speech is missed, where more do it is a false alarm, and where
// speakers stand in for others it is confused. Each counts its seconds once a speaker. The speakers of the hypothesis
// are paired with those of the reference one to one, so that the pairs speak together for as long as can be.
struct DiarizationErrorRate {
    double referenceSeconds = 0; // scored speech of the reference, once a speaker
    double missedSeconds = 0;
    double falseAlarmSeconds = 0;
    double confusedSeconds = 0;
    std::size_t referenceSpeakers = 0; // who speak at all
    std::size_t hypothesisSpeakers = 0;

    double errorSeconds() const { return missedSeconds + falseAlarmSeconds + confusedSeconds; }

    // Errors in percent of the reference's speech; may pass 100. No speech in the reference: 0 without errors, else
    // 100, since there is nothing to divide by.
    double percent() const;

    // Pools two recordings.
    DiarizationErrorRate& operator+=(const DiarizationErrorRate& other);

    bool operator==(const DiarizationErrorRate&) const = default;

    enum class Overlap {
        scored,
        skipped, // where two or more speak in the reference nothing is scored
    };

    struct Scoring {
        // Seconds on both sides of every beginning and end of a turn of the reference that are not scored; not
        // negative.
        double collar = 0;
        Overlap overlap = Overlap::scored;
    };

    // Of one recording, over all of its time, exact. Turns of one speaker that touch or overlap are one turn.
    static DiarizationErrorRate of(const std::vector<SpeakerTurn>& reference,
                                   const std::vector<SpeakerTurn>& hypothesis, const Scoring& scoring);
};

} // namespace Varnel
