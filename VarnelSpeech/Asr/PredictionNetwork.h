#pragma once

#include "VarnelSpeech/Asr/ReusableDecoderInput.h"
#include "VarnelSpeech/Asr/TdtDecoderState.h"
#include "VarnelSpeech/Inference/MLModel.h"

#include <memory>

namespace VarnelSpeech {

// The recurrent network ("decoder" model) that follows the emitted tokens, for the time of one decode call. Its
// calls allocate nothing of their own.
class PredictionNetwork {
public:
    explicit PredictionNetwork(MLModel& model);

    PredictionNetwork(const PredictionNetwork&) = delete;
    PredictionNetwork& operator=(const PredictionNetwork&) = delete;

    struct Step {
        std::shared_ptr<MLMultiArray> projection; // "decoder", 640 values
        TdtDecoderState state;                    // that of before, with the network's new tensors
    };

    // One step of the network. It overwrites `state`'s tensors in place, where the runtime honours output backings.
    // Throws ASRError "Invalid decoder output" for an output without a projection, and the runtime's own errors.
    Step runDecoder(int token, const TdtDecoderState& state);

private:
    MLModel& model_;
    ReusableDecoderInput input_;
    MLPredictionOptions options_;
    std::shared_ptr<MLMultiArray>& hiddenBacking_; // into options_
    std::shared_ptr<MLMultiArray>& cellBacking_;
};

} // namespace VarnelSpeech
