#pragma once

#include "VarnelSpeech/Asr/AsrModels.h"
#include "support/ScriptedModel.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace VarnelSpeech::Testing {

// A whole recogniser over scripted networks: it hears the words that writeSpokenWAV puts into a file. The level of
// each encoder frame (80 ms) of the audio is the number of a word, so that everything but the networks is real.
class ScriptedRecogniser {
public:
    // Token ids are 1, 2, ... in this order; each is a vocabulary entry such as "▁hello".
    explicit ScriptedRecogniser(std::vector<std::string> vocabulary);

    AsrModels models() const;

    // Called on the recognising thread before window `index` (from 0, over all files) is encoded. May throw.
    std::function<void(std::size_t index)> onWindow;

    // So many seconds of 16 kHz mono with a token at each of some frames; the rest is silence.
    static std::vector<float> spokenAudio(double seconds, const std::map<int, int>& tokensByFrame);

    // A 16 kHz mono WAV of so many seconds with a token at each of some frames; the rest is silence.
    static void writeSpokenWAV(const std::filesystem::path& file, double seconds,
                               const std::map<int, int>& tokensByFrame);

private:
    AsrModels models_;
};

} // namespace VarnelSpeech::Testing
