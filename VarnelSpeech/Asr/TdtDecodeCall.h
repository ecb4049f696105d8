#pragma once

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "VarnelSpeech/Asr/EncoderFrameView.h"
#include "VarnelSpeech/Asr/JointNetwork.h"
#include "VarnelSpeech/Asr/PredictionNetwork.h"
#include "VarnelSpeech/Asr/TdtDecoderState.h"
#include "VarnelSpeech/Asr/TdtHypothesis.h"

#include <cstdint>

namespace VarnelSpeech {

// Which frames of a window a call decodes.
struct TdtDecodeRange {
    std::int64_t start = 0;           // first frame
    std::int64_t effectiveLength = 0; // one past the last; above `start`
    int globalFrameOffset = 0;        // added to the timestamps
};

// One call of the decoder: its position among the frames, the networks with their tensors, and the hypothesis as it
// grows. Used once: prime, decodeFrames, finalizeLastChunk for the last window, finish.
class TdtDecodeCall {
public:
    // `config`, `frames`, the models and `decoderState` must outlive the call.
    TdtDecodeCall(const TdtConfig& config, const EncoderFrameView& frames, TdtDecodeRange range, MLModel& decoderModel,
                  MLModel& jointModel, TdtDecoderState& decoderState);

    // Zeroes the state of a fresh utterance and starts the prediction network with the blank.
    void prime();

    enum class WindowEnd { frames, tokenLimit };

    // Goes through the frames, from decision to decision. Returns what ended it.
    WindowEnd decodeFrames();

    // Looks for tokens that are still pending at the very end of the audio.
    void finalizeLastChunk();

    // Writes the caller's state and gives up the hypothesis.
    TdtHypothesis finish(bool isLastChunk);

private:
    struct Decision {
        int token = 0;
        float score = 0;  // clamped probability
        int duration = 0; // frames to go on by
    };

    enum class Outcome { token, windowLeft };

    TdtDecoderState prepareDecoderStep();
    Decision decide(std::int64_t frame);
    void decideAndAdvance();
    Outcome findToken();
    void emit(const Decision& decision, std::int64_t frame, const TdtDecoderState& state);
    void forceProgress();
    std::int64_t finalizationFrame(int variation, std::int64_t position) const;

    bool hasLeftWindow() const { return nextIndex_ >= range_.effectiveLength; }

    const TdtConfig& config_;
    const EncoderFrameView& frames_;
    const TdtDecodeRange range_;
    const std::int64_t lastTimestep_;
    TdtDecoderState& decoderState_;
    PredictionNetwork predictionNetwork_;
    JointNetwork jointNetwork_;
    TdtHypothesis hypothesis_;

    std::int64_t timeIndex_;     // frame of the decision in hand
    std::int64_t safeTimeIndex_; // the frame to look at next, inside the window
    std::int64_t nextIndex_;     // where the decision in hand leads
    Decision decision_;
    std::int64_t lastEmissionTimestamp_ = -1;
    int emissionsAtTimestamp_ = 0;
};

} // namespace VarnelSpeech
