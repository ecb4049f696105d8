#include "VarnelSpeech/Asr/TdtDecoderState.h"

#include "VarnelSpeech/Asr/ASRError.h"
#include "VarnelSpeech/Shared/ANEOptimizer.h"

namespace VarnelSpeech {

TdtDecoderState::TdtDecoderState() : TdtDecoderState(TensorAllocator(&ANEOptimizer::createANEAlignedArray)) {}

TdtDecoderState::TdtDecoderState(const TensorAllocator& allocate) {
    try {
        hiddenState = allocate({2, 1, 640}, MLMultiArrayDataType::float32);
        cellState = allocate({2, 1, 640}, MLMultiArrayDataType::float32);
    } catch (const std::exception& error) {
        throw ASRError(ASRError::Case::stateAllocationFailed, error.what());
    }
    reset();
}

void TdtDecoderState::reset() {
    hiddenState->zero();
    cellState->zero();
    lastToken.reset();
    predictorOutput = nullptr;
    timeJump.reset();
}

} // namespace VarnelSpeech
