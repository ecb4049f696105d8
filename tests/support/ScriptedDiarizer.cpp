#include "support/ScriptedDiarizer.h"

#include <algorithm>

namespace VarnelSpeech::Testing {

ScriptedDiarizer::ScriptedDiarizer() {
    segmentation = std::make_shared<ScriptedModel>(
        describeModel({{"audio", {1, 1, windowSamples}}}, {{"segments", {1, frameCount, 7}}}),
        [this](ScriptedModel::Call& call) {
            auto* scores = call.output("segments").data<float>();
            for (std::int64_t frame = 0; frame < frameCount; ++frame)
                scores[frame * 7 + (heard ? heard(call.index(), frame) : nobody)] = 1;
        },
        "segmentation");
    embedding = std::make_shared<ScriptedModel>(
        describeModel({{"waveform", {3, windowSamples}}, {"mask", {3, frameCount}}}, {{"embedding", {3, 256}}}),
        [this](ScriptedModel::Call& call) {
            const std::vector<float> values = voiceOf ? voiceOf(call.index()) : voice(0);
            std::copy(values.begin(), values.end(), call.output("embedding").data<float>());
        },
        "embedding");
}

void ScriptedDiarizer::hear(Heard who, std::int64_t from, std::int64_t to) {
    heard = [before = heard, who, from, to](std::size_t window, std::int64_t frame) {
        if (frame >= from && frame < to)
            return who;
        return before ? before(window, frame) : nobody;
    };
}

std::vector<float> ScriptedDiarizer::voice(std::size_t number) {
    std::vector<float> values(256);
    values[number % values.size()] = 10;
    return values;
}

} // namespace VarnelSpeech::Testing
