#include "VarnelSpeech/Asr/TdtDecodeCall.h"

#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include <algorithm>

namespace VarnelSpeech {

namespace {

// Room for every token that a call can emit, so that the loop appends without allocating. A configuration with huge
// limits gets no more than this and grows as any vector does.
constexpr std::size_t largestReservation = 4096;

std::size_t tokenLimit(const TdtConfig& config) {
    const std::size_t window = static_cast<std::size_t>(std::max(config.maxTokensPerChunk, 0));
    const std::size_t finalization = static_cast<std::size_t>(std::max(config.maxSymbolsPerStep, 0));
    return std::min(window + finalization, largestReservation);
}

bool isPunctuation(int token) {
    const auto& ids = ASRConstants::punctuationTokens;
    return std::find(ids.begin(), ids.end(), token) != ids.end();
}

} // namespace

TdtDecodeCall::TdtDecodeCall(const TdtConfig& config, const EncoderFrameView& frames, TdtDecodeRange range,
                             MLModel& decoderModel, MLModel& jointModel, TdtDecoderState& decoderState)
    : config_(config),
      frames_(frames),
      range_(range),
      lastTimestep_(range.effectiveLength - 1),
      decoderState_(decoderState),
      predictionNetwork_(decoderModel),
      jointNetwork_(jointModel),
      timeIndex_(range.start),
      safeTimeIndex_(std::min(range.start, lastTimestep_)),
      nextIndex_(range.start) {
    hypothesis_.decoderState = decoderState;
    hypothesis_.lastToken = decoderState.lastToken;
    const std::size_t limit = tokenLimit(config);
    hypothesis_.tokenIds.reserve(limit);
    hypothesis_.timestamps.reserve(limit);
    hypothesis_.tokenConfidences.reserve(limit);
}

void TdtDecodeCall::prime() {
    if (!decoderState_.lastToken && !decoderState_.predictorOutput) {
        decoderState_.hiddenState->zero();
        decoderState_.cellState->zero();
    }
    if (!decoderState_.predictorOutput && !hypothesis_.lastToken) {
        auto step = predictionNetwork_.runDecoder(config_.blankId, decoderState_);
        decoderState_.predictorOutput = std::move(step.projection);
        hypothesis_.decoderState = std::move(step.state);
    }
}

TdtDecodeCall::WindowEnd TdtDecodeCall::decodeFrames() {
    int tokensThisCall = 0;
    while (timeIndex_ < range_.effectiveLength) {
        const TdtDecoderState state = prepareDecoderStep();
        if (findToken() == Outcome::windowLeft) {
            return WindowEnd::frames;
        }
        tokensThisCall += 1;
        if (tokensThisCall > config_.maxTokensPerChunk) {
            timeIndex_ = nextIndex_;
            return WindowEnd::tokenLimit;
        }
        emit(decision_, timeIndex_, state);
        forceProgress();
        timeIndex_ = nextIndex_;
    }
    return WindowEnd::frames;
}

// Hands the projection for the last token to the joint network: the cached one, or else that of one more step of the
// prediction network. In runs of blanks nothing changes, so that the network does not run at all. Returns the state
// after the last token.
TdtDecoderState TdtDecodeCall::prepareDecoderStep() {
    const TdtDecoderState& stateToUse = hypothesis_.decoderState ? *hypothesis_.decoderState : decoderState_;
    if (decoderState_.predictorOutput) {
        jointNetwork_.prepareDecoderStep(*decoderState_.predictorOutput);
        return stateToUse;
    }
    const int label = hypothesis_.lastToken.value_or(config_.blankId);
    auto step = predictionNetwork_.runDecoder(label, stateToUse);
    jointNetwork_.prepareDecoderStep(*step.projection);
    return std::move(step.state);
}

TdtDecodeCall::Decision TdtDecodeCall::decide(std::int64_t frame) {
    const JointDecision decision = jointNetwork_.runJoint(frames_, frame);
    return {decision.token, clampProbability(decision.probability),
            mapDurationBin(decision.durationBin, config_.durationBins)};
}

// A blank never stays on its frame; a token may, when another one follows it there.
void TdtDecodeCall::decideAndAdvance() {
    decision_ = decide(safeTimeIndex_);
    if (decision_.token == config_.blankId && decision_.duration == 0) {
        decision_.duration = 1;
    }
    nextIndex_ = timeIndex_ + decision_.duration;
    safeTimeIndex_ = std::min(lastTimestep_, nextIndex_);
}

// Decides from `timeIndex_` on until a decision is a token. A decision that leads out of the window is dropped, token
// or not: the next window, which overlaps this one, hears it with more context.
TdtDecodeCall::Outcome TdtDecodeCall::findToken() {
    decideAndAdvance();
    while (!hasLeftWindow() && decision_.token == config_.blankId) {
        timeIndex_ = nextIndex_;
        decideAndAdvance();
    }
    if (hasLeftWindow()) {
        timeIndex_ = nextIndex_;
        return Outcome::windowLeft;
    }
    return Outcome::token;
}

void TdtDecodeCall::emit(const Decision& decision, std::int64_t frame, const TdtDecoderState& state) {
    hypothesis_.tokenIds.push_back(decision.token);
    hypothesis_.timestamps.push_back(static_cast<int>(frame + range_.globalFrameOffset));
    hypothesis_.tokenConfidences.push_back(decision.score);
    hypothesis_.score += decision.score;

    auto step = predictionNetwork_.runDecoder(decision.token, state);
    hypothesis_.lastToken = decision.token;
    hypothesis_.decoderState = std::move(step.state);
    // The projection is the running window's: the hypothesis's copy of the state never holds it.
    decoderState_.predictorOutput = std::move(step.projection);
}

// Moves on by a frame when too many tokens came at one: a network that never tires of a frame would hold the loop.
void TdtDecodeCall::forceProgress() {
    bool isForced = false;
    if (timeIndex_ == lastEmissionTimestamp_) {
        emissionsAtTimestamp_ += 1;
        isForced = emissionsAtTimestamp_ >= config_.maxSymbolsPerStep;
    } else if (config_.maxSymbolsPerStep <= 1) {
        isForced = true;
    } else {
        lastEmissionTimestamp_ = timeIndex_;
        emissionsAtTimestamp_ = 1;
    }
    if (isForced) {
        nextIndex_ = std::min(lastTimestep_, nextIndex_ + 1);
        safeTimeIndex_ = nextIndex_;
        lastEmissionTimestamp_ = -1;
        emissionsAtTimestamp_ = 0;
    }
}

void TdtDecodeCall::finalizeLastChunk() {
    if (config_.maxSymbolsPerStep < 1 || config_.consecutiveBlankLimit < 1) {
        return;
    }
    std::int64_t position = timeIndex_;
    int consecutiveBlanks = 0;
    for (int step = 0; step < config_.maxSymbolsPerStep && consecutiveBlanks < config_.consecutiveBlankLimit; ++step) {
        const TdtDecoderState state = prepareDecoderStep();
        const Decision decision = decide(finalizationFrame(step, position));
        if (decision.token != config_.blankId) {
            emit(decision, std::min(lastTimestep_, position), state);
            consecutiveBlanks = 0;
        } else {
            consecutiveBlanks += 1;
        }
        position = std::min(range_.effectiveLength, position + std::max(decision.duration, 1));
    }
    decoderState_.predictorOutput = nullptr;
}

// The frames at the end are looked at in turns: the position itself, the last one, and the one before.
std::int64_t TdtDecodeCall::finalizationFrame(int variation, std::int64_t position) const {
    const std::int64_t lastFrame = frames_.count() - 1;
    switch (variation % 3) {
    case 0:
        return std::min(lastFrame, position);
    case 1:
        return std::min(lastFrame, lastTimestep_);
    default:
        return std::min(lastFrame, std::max<std::int64_t>(0, range_.effectiveLength - 2));
    }
}

TdtHypothesis TdtDecodeCall::finish(bool isLastChunk) {
    if (hypothesis_.decoderState) {
        decoderState_.hiddenState = hypothesis_.decoderState->hiddenState;
        decoderState_.cellState = hypothesis_.decoderState->cellState;
        decoderState_.predictorOutput = hypothesis_.decoderState->predictorOutput;
    }
    decoderState_.lastToken = hypothesis_.lastToken;
    // A sentence end never carries its projection over a window's border; the token itself stays as context.
    if (decoderState_.lastToken && isPunctuation(*decoderState_.lastToken)) {
        decoderState_.predictorOutput = nullptr;
    }
    decoderState_.timeJump = static_cast<int>(timeIndex_ - range_.effectiveLength);
    if (isLastChunk) {
        decoderState_.timeJump.reset();
    }
    return std::move(hypothesis_);
}

} // namespace VarnelSpeech
