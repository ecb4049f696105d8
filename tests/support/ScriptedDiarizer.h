#pragma once

#include "VarnelSpeech/Diarizer/DiarizerModels.h"
#include "support/ScriptedModel.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace VarnelSpeech::Testing {

// The chunked diarizer's networks, scripted: a test says who is heard in each frame of each window, and how the voices
// sound. Outlives its models.
class ScriptedDiarizer {
public:
    static constexpr std::int64_t frameCount = 592; // of a window of 10 s
    static constexpr std::int64_t windowSamples = 160000;

    // Classes of the segmentation network: sets of local speakers.
    enum Heard { nobody, first, second, third, firstAndSecond, firstAndThird, secondAndThird };

    ScriptedDiarizer();

    // Who is heard in a frame of window `window` (from 0, over all calls). Nobody unless told otherwise.
    std::function<Heard(std::size_t window, std::int64_t frame)> heard;

    // The voice vector of embedding call `call` (from 0), 256 values; may throw. The first of voice() otherwise.
    std::function<std::vector<float>(std::size_t call)> voiceOf;

    // Whoever is heard in [from, to) frames of every window is `who`.
    void hear(Heard who, std::int64_t from, std::int64_t to);

    // Voices as different as they can be: a vector of length 10 along one axis.
    static std::vector<float> voice(std::size_t number);

    DiarizerModels models() const { return {segmentation, embedding, 0.25}; }

    std::shared_ptr<ScriptedModel> segmentation;
    std::shared_ptr<ScriptedModel> embedding;
};

} // namespace VarnelSpeech::Testing
