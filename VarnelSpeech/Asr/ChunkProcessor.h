#pragma once

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "VarnelSpeech/Asr/ASRResult.h"
#include "VarnelSpeech/Asr/TdtDecoderState.h"
#include "VarnelSpeech/Asr/TokenWindow.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace VarnelSpeech {

class AsrManager;

// Transcribes audio of more than one model window: windows of 14.96 s that overlap by 2 s, each decoded on its own,
// and their tokens merged. Holds a view of the audio, which must outlive it. Runs on the calling thread.
class ChunkProcessor {
public:
    using ProgressHandler = std::function<void(double)>; // 0 to 1, after each window but the last

    // The audio of a window, in samples: 187 encoder frames, just below the model's own window.
    static constexpr std::size_t windowSamples = 239360;
    static constexpr double overlapSeconds = 2.0;

    // 16 kHz mono samples.
    explicit ChunkProcessor(std::span<const float> audioSamples) : audioSamples_(audioSamples) {}

    // Uses the manager's models and vocabulary, not its states. Throws what its calls throw, and Cancelled between
    // windows; nothing partial is returned.
    ASRResult process(AsrManager& manager, std::chrono::steady_clock::time_point startTime,
                      const ProgressHandler& progressHandler = {}) const;

    // Samples that neighbouring windows share, and the advance from one to the next; both whole encoder frames.
    static std::size_t overlapSamples();
    static std::size_t stride();

private:
    static constexpr int sampleRate = 16000;

    struct Window {
        std::size_t start = 0; // samples
        std::size_t end = 0;
        bool isLast = false;
    };

    Window window(std::size_t start) const;
    std::vector<TokenWindow> transcribe(AsrManager& manager, const Window& window, TdtDecoderState& state,
                                        std::vector<float>& modelInput) const;

    std::span<const float> audioSamples_;
};

} // namespace VarnelSpeech
