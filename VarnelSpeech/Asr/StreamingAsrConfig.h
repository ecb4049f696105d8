#pragma once

#include <algorithm>

namespace VarnelSpeech {

// How a stream is cut into windows, and when its text counts as settled. Seconds, but for the last.
struct StreamingAsrConfig {
    double chunkSeconds = 15.0;              // new audio of a window
    double hypothesisChunkSeconds = 2.0;     // kept in the configuration; no window depends on it
    double leftContextSeconds = 10.0;        // heard again before the new audio
    double rightContextSeconds = 2.0;        // heard ahead, and again as new audio of the next window
    double minContextForConfirmation = 10.0; // audio in total before anything may be confirmed
    double confirmationThreshold = 0.85;     // lowest confidence, 0 to 1

    static StreamingAsrConfig lowLatency() { return {11.0, 1.0, 2.0, 2.0, 10.0, 0.8}; }

    static StreamingAsrConfig custom(double chunkDuration, double confirmationThreshold) {
        return {chunkDuration, std::min(chunkDuration / 2, 1.0), 10.0, 2.0, 10.0, confirmationThreshold};
    }

    // For text that is read while it is spoken: windows of 4.5 s that advance by 3 s.
    static StreamingAsrConfig liveCaptions() { return {3.0, 1.0, 1.0, 0.5, 2.0, 0.6}; }

    // Throws StreamingAsrError (invalidConfiguration) for lengths that make no window: no new audio, a negative or
    // infinite length, more than 10 minutes together.
    void validate() const;

    bool operator==(const StreamingAsrConfig&) const = default;
};

} // namespace VarnelSpeech
