#pragma once

#include "VarnelSpeech/Inference/MLModel.h"

#include <memory>

namespace VarnelSpeech {

// The encoder's inputs: each that the model declares, from the preprocessor's output, else from what the preprocessor
// was given. The preprocessor's output itself when it lacks none. Throws ASRError for an input that neither has.
std::shared_ptr<const MLFeatureProvider>
prepareEncoderInput(const MLModelDescription& encoder, std::shared_ptr<const MLFeatureProvider> preprocessorOutput,
                    const MLFeatureProvider& preprocessorInput);

} // namespace VarnelSpeech
