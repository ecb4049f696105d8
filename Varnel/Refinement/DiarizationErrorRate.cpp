#include "Varnel/Refinement/DiarizationErrorRate.h"

#include "Varnel/Refinement/LargestAssignment.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace Varnel {

namespace {

struct Interval {
    double start = 0;
    double end = 0;
};

using Speech = std::vector<Interval>; // of one speaker: in order, apart from each other

Speech merged(Speech intervals) {
    std::sort(intervals.begin(), intervals.end(),
              [](const Interval& left, const Interval& right) { return left.start < right.start; });
    Speech result;
    for (const Interval& interval : intervals) {
        if (!result.empty() && interval.start <= result.back().end)
            result.back().end = std::max(result.back().end, interval.end);
        else
            result.push_back(interval);
    }
    return result;
}

// One entry a speaker.
std::vector<Speech> speechOf(const std::vector<SpeakerTurn>& turns) {
    std::map<std::string_view, Speech> bySpeaker;
    for (const SpeakerTurn& turn : turns)
        if (turn.end > turn.start)
            bySpeaker[turn.speaker].push_back({turn.start, turn.end});
    std::vector<Speech> result;
    for (auto& [speaker, intervals] : bySpeaker)
        result.push_back(merged(std::move(intervals)));
    return result;
}

// Something begins or ends.
struct Event {
    enum class Kind { reference, hypothesis, unscored };

    double time = 0;
    Kind kind = Kind::reference;
    std::size_t speaker = 0;
    bool begins = false;
};

std::vector<Event> eventsOf(const std::vector<Speech>& reference, const std::vector<Speech>& hypothesis,
                            double collar) {
    std::vector<Event> events;
    const auto add = [&](Event::Kind kind, std::size_t speaker, double start, double end) {
        events.push_back({start, kind, speaker, true});
        events.push_back({end, kind, speaker, false});
    };
    for (std::size_t speaker = 0; speaker < reference.size(); ++speaker) {
        for (const Interval& turn : reference[speaker]) {
            add(Event::Kind::reference, speaker, turn.start, turn.end);
            if (collar > 0) {
                add(Event::Kind::unscored, 0, turn.start - collar, turn.start + collar);
                add(Event::Kind::unscored, 0, turn.end - collar, turn.end + collar);
            }
        }
    }
    for (std::size_t speaker = 0; speaker < hypothesis.size(); ++speaker)
        for (const Interval& turn : hypothesis[speaker])
            add(Event::Kind::hypothesis, speaker, turn.start, turn.end);
    std::sort(events.begin(), events.end(),
              [](const Event& left, const Event& right) { return left.time < right.time; });
    return events;
}

// Goes along the recording from event to event; between two of them nothing changes.
class Sweep {
public:
    Sweep(std::size_t references, std::size_t hypotheses, DiarizationErrorRate::Overlap overlap)
        : hypotheses_(hypotheses), overlap_(overlap), together_(references * hypotheses) {}

    void take(const Event& event) {
        score(event.time - time_);
        time_ = event.time;
        if (event.kind == Event::Kind::unscored) {
            unscored_ += event.begins ? 1 : -1;
            return;
        }
        auto& speaking = event.kind == Event::Kind::reference ? inReference_ : inHypothesis_;
        if (event.begins)
            speaking.push_back(event.speaker);
        else
            speaking.erase(std::find(speaking.begin(), speaking.end(), event.speaker));
    }

    DiarizationErrorRate rate() const {
        DiarizationErrorRate result = rate_;
        double right = 0; // seconds in which both of a pair speak
        const std::size_t references = hypotheses_ == 0 ? 0 : together_.size() / hypotheses_;
        const auto pairs = largestAssignment(together_, references, hypotheses_);
        for (std::size_t reference = 0; reference < pairs.size(); ++reference)
            if (pairs[reference])
                right += together_[reference * hypotheses_ + *pairs[reference]];
        result.confusedSeconds = std::max(bothSeconds_ - right, 0.0);
        return result;
    }

private:
    void score(double seconds) {
        if (unscored_ > 0 || (overlap_ == DiarizationErrorRate::Overlap::skipped && inReference_.size() > 1))
            return;
        const auto expected = static_cast<double>(inReference_.size());
        const auto heard = static_cast<double>(inHypothesis_.size());
        rate_.referenceSeconds += seconds * expected;
        rate_.missedSeconds += seconds * std::max(expected - heard, 0.0);
        rate_.falseAlarmSeconds += seconds * std::max(heard - expected, 0.0);
        bothSeconds_ += seconds * std::min(expected, heard);
        for (const std::size_t reference : inReference_)
            for (const std::size_t hypothesis : inHypothesis_)
                together_[reference * hypotheses_ + hypothesis] += seconds;
    }

    std::size_t hypotheses_;
    DiarizationErrorRate::Overlap overlap_;
    std::vector<double> together_; // [references, hypotheses]: seconds in which both speak
    double time_ = 0;
    int unscored_ = 0;
    std::vector<std::size_t> inReference_; // who speak now
    std::vector<std::size_t> inHypothesis_;
    double bothSeconds_ = 0; // speech of either that has a counterpart in the other
    DiarizationErrorRate rate_;
};

} // namespace

double DiarizationErrorRate::percent() const {
    if (referenceSeconds <= 0)
        return errorSeconds() > 0 ? 100.0 : 0.0;
    return 100.0 * errorSeconds() / referenceSeconds;
}

DiarizationErrorRate& DiarizationErrorRate::operator+=(const DiarizationErrorRate& other) {
    referenceSeconds += other.referenceSeconds;
    missedSeconds += other.missedSeconds;
    falseAlarmSeconds += other.falseAlarmSeconds;
    confusedSeconds += other.confusedSeconds;
    referenceSpeakers += other.referenceSpeakers;
    hypothesisSpeakers += other.hypothesisSpeakers;
    return *this;
}

DiarizationErrorRate DiarizationErrorRate::of(const std::vector<SpeakerTurn>& reference,
                                              const std::vector<SpeakerTurn>& hypothesis, const Scoring& scoring) {
    const std::vector<Speech> expected = speechOf(reference);
    const std::vector<Speech> heard = speechOf(hypothesis);
    Sweep sweep(expected.size(), heard.size(), scoring.overlap);
    for (const Event& event : eventsOf(expected, heard, scoring.collar))
        sweep.take(event);
    DiarizationErrorRate rate = sweep.rate();
    rate.referenceSpeakers = expected.size();
    rate.hypothesisSpeakers = heard.size();
    return rate;
}

} // namespace Varnel
