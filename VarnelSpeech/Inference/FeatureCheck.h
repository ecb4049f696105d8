#pragma once

#include "VarnelSpeech/Inference/MLModel.h"

#include <string>
#include <string_view>

namespace VarnelSpeech {

// What a model says of a tensor that does not fit its declaration: "model 'Decoder': input 'h_in' is Float32
// [2, 1, 639], expected Float32 [2, 1, 640]". `role` is "input" or "output". Throws MLModelError.
void checkFeature(std::string_view model, std::string_view role, std::string_view name,
                  const MLFeatureDescription& expected, const MLMultiArray& given);

// Takes an input from a provider. Throws MLModelError for a missing one.
std::shared_ptr<MLMultiArray> requireFeature(std::string_view model, const MLFeatureProvider& provider,
                                             std::string_view name);

} // namespace VarnelSpeech
