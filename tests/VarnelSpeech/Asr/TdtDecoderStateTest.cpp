#include "VarnelSpeech/Asr/TdtDecoderState.h"

#include "VarnelSpeech/Asr/ASRError.h"
#include "support/ThrownText.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

bool isZero(const MLMultiArray& tensor) {
    const auto* values = tensor.data<float>();
    return std::all_of(values, values + tensor.count(), [](float value) { return value == 0.0F; });
}

TEST(TdtDecoderState, StartsZeroedOnAlignedMemory) {
    const TdtDecoderState state;
    for (const auto& tensor : {state.hiddenState, state.cellState}) {
        EXPECT_EQ(tensor->shape(), (MLShape{2, 1, 640}));
        EXPECT_EQ(tensor->dataType(), MLMultiArrayDataType::float32);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tensor->rawData()) % 64, 0U);
        EXPECT_TRUE(isZero(*tensor));
    }
    EXPECT_EQ(state.lastToken, std::nullopt);
    EXPECT_EQ(state.predictorOutput, nullptr);
    EXPECT_EQ(state.timeJump, std::nullopt);
}

TEST(TdtDecoderState, ResetClearsEverythingAndKeepsTheTensors) {
    TdtDecoderState state;
    const auto hidden = state.hiddenState;
    const auto cell = state.cellState;
    hidden->data<float>()[1279] = 1.0F;
    cell->data<float>()[640] = 1.0F;
    state.lastToken = 1;
    state.predictorOutput = hidden;
    state.timeJump = -2;
    state.reset();
    EXPECT_EQ(state.hiddenState, hidden);
    EXPECT_EQ(state.cellState, cell);
    EXPECT_TRUE(isZero(*hidden) && isZero(*cell));
    EXPECT_EQ(state.lastToken, std::nullopt);
    EXPECT_EQ(state.predictorOutput, nullptr);
    EXPECT_EQ(state.timeJump, std::nullopt);
}

TEST(TdtDecoderState, ACopySharesTheTensors) {
    const TdtDecoderState state;
    const TdtDecoderState copy = state;
    EXPECT_EQ(copy.hiddenState, state.hiddenState);
    EXPECT_EQ(copy.cellState, state.cellState);
}

TEST(TdtDecoderState, WithoutMemoryThereIsNoState) {
    const auto noMemory = [](const MLShape&, MLMultiArrayDataType) -> std::shared_ptr<MLMultiArray> {
        throw std::runtime_error("Failed to allocate ANE-aligned memory");
    };
    EXPECT_EQ(thrownText([&] { TdtDecoderState{TdtDecoderState::TensorAllocator(noMemory)}; }),
              "Failed to allocate decoder state: Failed to allocate ANE-aligned memory");
}

} // namespace
} // namespace VarnelSpeech::Testing
