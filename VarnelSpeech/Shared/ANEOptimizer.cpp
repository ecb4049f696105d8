#include "VarnelSpeech/Shared/ANEOptimizer.h"

#include "VarnelSpeech/Shared/ANEMemoryUtils.h"

namespace VarnelSpeech::ANEOptimizer {

std::shared_ptr<MLMultiArray> createANEAlignedArray(const MLShape& shape, MLMultiArrayDataType type) {
    using ANEMemoryUtils::ANEMemoryError;
    try {
        return ANEMemoryUtils::createAlignedArray(shape, type, ANEMemoryUtils::ZeroClear::no);
    } catch (const ANEMemoryError& error) {
        if (error.error() == ANEMemoryError::Case::allocationFailed)
            throw ANEOptimizerError("Failed to allocate ANE-aligned memory");
        throw ANEOptimizerError(std::string("ANE memory allocation error: ") + error.what());
    }
}

} // namespace VarnelSpeech::ANEOptimizer
