#include "VarnelSpeech/Asr/StepTensor.h"

#include "VarnelSpeech/Shared/ANEMemoryUtils.h"
#include "VarnelSpeech/Shared/ANEOptimizer.h"

namespace VarnelSpeech {

std::shared_ptr<MLMultiArray> makeStepTensor(std::int64_t size) {
    const auto memory = ANEOptimizer::createANEAlignedArray({1, 1, size}, MLMultiArrayDataType::float32);
    return ANEMemoryUtils::createZeroCopyView(memory, 0, {1, size, 1}, MLShape{size, 1, 1});
}

} // namespace VarnelSpeech
