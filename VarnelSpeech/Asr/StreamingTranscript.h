#pragma once

#include "VarnelSpeech/Asr/StreamingAsrConfig.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <string>

namespace VarnelSpeech {

// The text of a stream so far: what is confirmed, and the last window's, which may still change. A window's text is
// confirmed by a good window after it; before a poor one it is lost. Not locked.
class StreamingTranscript {
public:
    explicit StreamingTranscript(const StreamingAsrConfig& config, AppLogger logger);

    // Whether a window is good: confident, with enough audio in all (seconds).
    bool isGood(float confidence, double totalSeconds) const;

    void update(const std::string& text, float confidence, double totalSeconds);
    void reset();

    const std::string& confirmed() const { return confirmed_; }

    const std::string& volatileText() const { return volatile_; }

private:
    bool isConfident(float confidence) const;
    bool hasContext(double totalSeconds) const;
    void promote();

    double confirmationThreshold_;
    double minContext_; // seconds
    AppLogger logger_;
    std::string confirmed_;
    std::string volatile_;
};

} // namespace VarnelSpeech
