#pragma once

#include "VarnelSpeech/Diarizer/DiarizationResult.h"

#include <functional>
#include <span>
#include <stop_token>

namespace Varnel {

// Who spoke when, as the transcription engine needs it of a diarizer. Both calls block, run off the main context (one
// at a time) and throw when they fail.
class SpeakerDiarization {
public:
    // Rising shares of the work, 0 to 1, on the calling thread.
    using Progress = std::function<void(double)>;

    virtual ~SpeakerDiarization() = default;

    virtual void loadModels() = 0;
    // A whole recording at `sampleRate` Hz, mono; runs share nothing but the models. Once `stop` is requested, nobody
    // waits for the result any more: return or throw soon. `progress` may be empty.
    virtual VarnelSpeech::DiarizationResult diarize(std::span<const float> samples, int sampleRate, double startTime,
                                                    std::stop_token stop, const Progress& progress = {}) = 0;
};

} // namespace Varnel
