#include "VarnelSpeech/Inference/MLModelConfiguration.h"

namespace VarnelSpeech {

std::string describe(MLComputeUnits units) {
    switch (units) {
    case MLComputeUnits::cpuOnly:
        return "cpuOnly";
    case MLComputeUnits::cpuAndGPU:
        return "cpuAndGPU";
    case MLComputeUnits::all:
        return "all";
    case MLComputeUnits::cpuAndNeuralEngine:
        return "cpuAndNeuralEngine";
    }
    return "unknown(" + std::to_string(static_cast<int>(units)) + ")";
}

} // namespace VarnelSpeech
