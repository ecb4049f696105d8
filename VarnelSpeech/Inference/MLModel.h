#pragma once

#include "VarnelSpeech/Inference/MLFeatureProvider.h"
#include "VarnelSpeech/Inference/MLModelConfiguration.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// What a model declares of one input or output. A dimension of -1 is not fixed.
struct MLFeatureDescription {
    MLShape shape;
    MLMultiArrayDataType dataType = MLMultiArrayDataType::float32;
};

struct MLModelDescription {
    std::map<std::string, MLFeatureDescription, std::less<>> inputDescriptionsByName;
    std::map<std::string, MLFeatureDescription, std::less<>> outputDescriptionsByName;
};

struct MLPredictionOptions {
    // Output name to a tensor of the caller's into which the output is written. The tensor then is the one that the
    // result returns under that name. It may be a tensor that the same prediction reads (the state of a recurrent
    // network): the model reads all of its inputs before such an output appears in the caller's memory.
    std::map<std::string, std::shared_ptr<MLMultiArray>, std::less<>> outputBackings;
};

// The runtime's own failures: a bundle that does not load, a tensor that does not fit, a network that fails.
class MLModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A loaded network. Predictions of one model are mutually exclusive (each implementation holds a lock for the time
// of a call); different models run side by side.
class MLModel {
public:
    virtual ~MLModel() = default;

    virtual const MLModelDescription& modelDescription() const = 0;

    // Runs the network once, on the calling thread, until it is done. `input` must hold every declared input.
    // The result holds every declared output; an implementation may hand out the same result object and the same
    // unbacked output tensors again once the caller has let go of them, so that steady calls allocate nothing.
    // Throws MLModelError.
    virtual std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider& input,
                                                                const MLPredictionOptions& options = {}) = 0;
};

// Loads the bundle directory `<Name>.mlmodelc`: its marker "coremldata.bin" (a JSON manifest with the size and the
// SHA-256 of each file) and "model.onnx". Throws MLModelError with the path and the reason: marker missing or
// unreadable, a sum that differs, a network that the runtime refuses.
std::shared_ptr<MLModel> loadModel(const std::filesystem::path& bundle, const MLModelConfiguration& configuration);

} // namespace VarnelSpeech
