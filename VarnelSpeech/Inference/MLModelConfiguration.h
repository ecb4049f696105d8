#pragma once

#include <string>

namespace VarnelSpeech {

// Where a model may run. The values carry the platform's names; here anything but `cpuOnly` may add an accelerated
// provider when the runtime offers one, and falls back to the processor silently.
enum class MLComputeUnits {
    cpuOnly = 0,
    cpuAndGPU = 1,
    all = 2,
    cpuAndNeuralEngine = 3,
};

// "cpuOnly", "cpuAndGPU", "all", "cpuAndNeuralEngine", or "unknown(<raw value>)".
std::string describe(MLComputeUnits units);

// How much of the machine one prediction may take. Tiny networks that are called thousands of times run fastest on
// the calling thread alone; mid-size ones that work beside a large one leave it the other cores.
enum class MLThreading {
    allCores,
    twoThreads, // at most; one on a machine of one core
    callingThread,
};

struct MLModelConfiguration {
    MLComputeUnits computeUnits = MLComputeUnits::all;
    bool allowLowPrecisionAccumulationOnGPU = false;
    MLThreading threading = MLThreading::allCores;
};

} // namespace VarnelSpeech
