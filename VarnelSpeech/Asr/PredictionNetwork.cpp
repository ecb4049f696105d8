#include "VarnelSpeech/Asr/PredictionNetwork.h"

#include "VarnelSpeech/Asr/ASRError.h"

namespace VarnelSpeech {

PredictionNetwork::PredictionNetwork(MLModel& model)
    : model_(model), hiddenBacking_(options_.outputBackings["h_out"]), cellBacking_(options_.outputBackings["c_out"]) {}

PredictionNetwork::Step PredictionNetwork::runDecoder(int token, const TdtDecoderState& state) {
    input_.set(token, state);
    hiddenBacking_ = state.hiddenState;
    cellBacking_ = state.cellState;
    const auto output = model_.prediction(input_, options_);

    Step step{output ? output->featureValue("decoder") : nullptr, state};
    if (!step.projection) {
        throw ASRError::processingFailed("Invalid decoder output");
    }
    if (auto hidden = output->featureValue("h_out")) {
        step.state.hiddenState = std::move(hidden);
    }
    if (auto cell = output->featureValue("c_out")) {
        step.state.cellState = std::move(cell);
    }
    return step;
}

} // namespace VarnelSpeech
