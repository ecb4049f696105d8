#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include "VarnelSpeech/Asr/ASRError.h"
#include "VarnelSpeech/Asr/TdtDecodeCall.h"

#include <algorithm>
#include <cmath>

namespace VarnelSpeech {

namespace {

// Windows of a stream overlap by 2 s. A window that ended exactly on its last frame left no overshoot to start from:
// the frames that the two windows share are skipped.
constexpr int overlapFrames = 25;

// The fewest frames that can be decoded.
constexpr int shortestSequence = 2;

std::int64_t startPosition(const std::optional<int>& timeJump, int contextFrameAdjustment) {
    if (!timeJump) {
        return contextFrameAdjustment;
    }
    if (*timeJump == 0 && contextFrameAdjustment == 0) {
        return overlapFrames;
    }
    return std::max<std::int64_t>(0, std::int64_t{*timeJump} + contextFrameAdjustment);
}

TdtHypothesis emptyHypothesis(const TdtDecoderState& decoderState) {
    TdtHypothesis hypothesis;
    hypothesis.decoderState = decoderState;
    return hypothesis;
}

} // namespace

TdtDecoderV3::TdtDecoderV3(ASRConfig config) : logger_("TDT"), config_(std::move(config)) {}

TdtHypothesis TdtDecoderV3::decodeWithTimings(const std::shared_ptr<const MLMultiArray>& encoderOutput,
                                              int encoderSequenceLength, int actualAudioFrames, MLModel& decoderModel,
                                              MLModel& jointModel, TdtDecoderState& decoderState,
                                              int contextFrameAdjustment, bool isLastChunk,
                                              int globalFrameOffset) const {
    if (encoderSequenceLength < shortestSequence) {
        return emptyHypothesis(decoderState);
    }
    const EncoderFrameView frames(encoderOutput, encoderSequenceLength);
    const std::int64_t timeIndex = startPosition(decoderState.timeJump, contextFrameAdjustment);
    const int effectiveLength = std::min(encoderSequenceLength, actualAudioFrames);
    if (timeIndex >= effectiveLength) {
        return emptyHypothesis(decoderState);
    }

    TdtDecodeCall call(config_.tdtConfig, frames, {timeIndex, effectiveLength, globalFrameOffset}, decoderModel,
                       jointModel, decoderState);
    call.prime();
    if (call.decodeFrames() == TdtDecodeCall::WindowEnd::tokenLimit) {
        logger_.debug("Token limit of " + std::to_string(config_.tdtConfig.maxTokensPerChunk) + " reached");
    }
    if (isLastChunk) {
        call.finalizeLastChunk();
    }
    return call.finish(isLastChunk);
}

int mapDurationBin(int bin, const std::vector<int>& bins) {
    if (bin < 0 || static_cast<std::size_t>(bin) >= bins.size()) {
        throw ASRError::processingFailed("Duration bin index out of range: " + std::to_string(bin));
    }
    return bins[static_cast<std::size_t>(bin)];
}

float clampProbability(float probability) {
    return std::isfinite(probability) ? std::clamp(probability, 0.0F, 1.0F) : 0.0F;
}

} // namespace VarnelSpeech
