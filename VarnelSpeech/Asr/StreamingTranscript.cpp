#include "VarnelSpeech/Asr/StreamingTranscript.h"

#include <fmt/format.h>

#include <utility>

namespace VarnelSpeech {

StreamingTranscript::StreamingTranscript(const StreamingAsrConfig& config, AppLogger logger)
    : confirmationThreshold_(config.confirmationThreshold),
      minContext_(config.minContextForConfirmation),
      logger_(std::move(logger)) {}

bool StreamingTranscript::isConfident(float confidence) const {
    return confirmationThreshold_ <= static_cast<double>(confidence);
}

bool StreamingTranscript::hasContext(double totalSeconds) const {
    return minContext_ <= totalSeconds;
}

bool StreamingTranscript::isGood(float confidence, double totalSeconds) const {
    return isConfident(confidence) && hasContext(totalSeconds);
}

void StreamingTranscript::update(const std::string& text, float confidence, double totalSeconds) {
    if (isGood(confidence, totalSeconds)) {
        promote();
        logger_.debug(fmt::format("CONFIRMED ({:#}, {:.1f}s context): promoted to confirmed; new volatile '{}'",
                                  confidence, totalSeconds, text));
    } else {
        const std::string reason =
            hasContext(totalSeconds) ? "low confidence" : fmt::format("insufficient context ({:.1f}s)", totalSeconds);
        logger_.debug(fmt::format("VOLATILE ({:#}): {} - updated volatile '{}'", confidence, reason, text));
    }
    volatile_ = text;
}

// What was heard before this window has stood its test.
void StreamingTranscript::promote() {
    if (volatile_.empty())
        return;
    if (!confirmed_.empty())
        confirmed_ += ' ';
    confirmed_ += volatile_;
}

void StreamingTranscript::reset() {
    confirmed_.clear();
    volatile_.clear();
}

} // namespace VarnelSpeech
