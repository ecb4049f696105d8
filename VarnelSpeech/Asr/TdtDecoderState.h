#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"

#include <functional>
#include <memory>
#include <optional>

namespace VarnelSpeech {

// What carries the prediction network and the frame position from one window to the next. A value whose tensors are
// shared references: a copy writes into the same tensors. Two running decodes must not share one.
struct TdtDecoderState {
    std::shared_ptr<MLMultiArray> hiddenState;     // [2, 1, 640] float32, hidden state of the two-layer network
    std::shared_ptr<MLMultiArray> cellState;       // [2, 1, 640] float32
    std::optional<int> lastToken;                  // last token emitted in an earlier call
    std::shared_ptr<MLMultiArray> predictorOutput; // cached projection for the current token; may be null
    std::optional<int> timeJump;                   // frames by which the last call overshot its window; may be negative

    // Zero-filled tensors. Throws ASRError "Failed to allocate decoder state: " and the reason.
    TdtDecoderState();

    // The same with tensors from `allocate`; what that throws becomes the error's reason.
    using TensorAllocator = std::function<std::shared_ptr<MLMultiArray>(const MLShape&, MLMultiArrayDataType)>;
    explicit TdtDecoderState(const TensorAllocator& allocate);

    // Zeroes both tensors in place and clears the optionals.
    void reset();
};

} // namespace VarnelSpeech
