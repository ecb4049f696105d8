#pragma once

#include "VarnelSpeech/Inference/MLModel.h"

#include <onnxruntime_cxx_api.h>

#include <filesystem>
#include <string>
#include <vector>

namespace VarnelSpeech {

// A network's input or output as the runtime declares it.
struct OnnxPort {
    std::string name;
    MLFeatureDescription description; // a scalar is described as [1]
    bool isScalar = false;            // or of a rank that is not known before the network has run

    // Whether every dimension is known before the network has run.
    bool hasFixedShape() const;
};

// The runtime's session over one network. Used by OnnxModel alone.
struct OnnxSession {
    Ort::Session session;
    std::vector<OnnxPort> inputs;
    std::vector<OnnxPort> outputs;

    // Throws Ort::Exception for a network that the runtime refuses, MLModelError for one with an input or output
    // that is no tensor of a supported element type.
    static OnnxSession open(const std::filesystem::path& network, const MLModelConfiguration& configuration);
};

ONNXTensorElementDataType runtimeType(MLMultiArrayDataType type);

} // namespace VarnelSpeech
