#pragma once

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "VarnelSpeech/Asr/TdtDecoderState.h"
#include "VarnelSpeech/Asr/TdtHypothesis.h"
#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <memory>
#include <vector>

namespace VarnelSpeech {

// Greedy decoder of a token-and-duration transducer (Xu et al., "Efficient Sequence Transduction by Jointly
// Predicting Tokens and Durations", 2023): each decision of the joint network is a token and the number of encoder
// frames to go on by. One frame is 1280 samples, 0.08 s.
//
// Holds nothing between calls; what goes from one window to the next is the TdtDecoderState. A call runs on the
// calling thread and locks nothing; two running calls must not share a state. Failures are ASRError
// (processingFailed) and the runtime's own errors; after one, the state's tensors may already have changed.
class TdtDecoderV3 {
public:
    explicit TdtDecoderV3(ASRConfig config);

    // Decodes one window. `encoderOutput` is [1, 1024, T] or [1, T, 1024] float32. Of its frames those below both
    // `encoderSequenceLength` and `actualAudioFrames` are decoded. `contextFrameAdjustment` shifts the first one.
    // `isLastChunk` looks for tokens still pending at the end of the audio. Timestamps are frames of the window plus
    // `globalFrameOffset`.
    TdtHypothesis decodeWithTimings(const std::shared_ptr<const MLMultiArray>& encoderOutput, int encoderSequenceLength,
                                    int actualAudioFrames, MLModel& decoderModel, MLModel& jointModel,
                                    TdtDecoderState& decoderState, int contextFrameAdjustment = 0,
                                    bool isLastChunk = false, int globalFrameOffset = 0) const;

    const ASRConfig& config() const { return config_; }

private:
    AppLogger logger_;
    ASRConfig config_;
};

// `bins[bin]`. Throws ASRError for a bin that is none.
int mapDurationBin(int bin, const std::vector<int>& bins);

// Limited to 0..1; 0 for what is no number.
float clampProbability(float probability);

} // namespace VarnelSpeech
