#pragma once

#include "VarnelSpeech/Inference/MLModel.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VarnelSpeech {

// A network in a session of the inference runtime.
//
// Tensors without gaps are read and written where they lie; tensors with gaps (padded or reversed strides) go through
// a gap-free buffer. An output backing that shares memory with an input of the same call is written to a second
// buffer and copied when the network is through, so that the network never writes what it reads. Unbacked outputs of
// a fixed shape are pooled: once the caller has let go of one it serves again. Steady calls, those with the same
// tensors as the call before, allocate nothing outside the runtime.
class OnnxModel final : public MLModel {
public:
    // `name` stands in error texts. Throws MLModelError.
    OnnxModel(const std::filesystem::path& network, std::string name, const MLModelConfiguration& configuration);
    ~OnnxModel() override;

    const MLModelDescription& modelDescription() const override;
    std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider& input,
                                                        const MLPredictionOptions& options = {}) override;

private:
    class Runner;
    std::unique_ptr<Runner> runner_;
};

} // namespace VarnelSpeech
