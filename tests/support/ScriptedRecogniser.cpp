#include "support/ScriptedRecogniser.h"

#include "VarnelSpeech/Asr/ASRConfig.h"
#include "support/AudioFixtures.h"
#include "support/ScriptedTransducer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace VarnelSpeech::Testing {

namespace {

using Type = MLMultiArrayDataType;

constexpr std::int64_t frameSamples = ASRConstants::samplesPerEncoderFrame;
constexpr std::int64_t windowSamples = ASRConstants::maxModelSamples;
constexpr std::int64_t windowFrames = (windowSamples + frameSamples - 1) / frameSamples;
constexpr float levelsPerUnit = 1000.0F;

} // namespace

ScriptedRecogniser::ScriptedRecogniser(std::vector<std::string> vocabulary) {
    for (std::size_t i = 0; i < vocabulary.size(); ++i)
        models_.vocabulary[static_cast<int>(i) + 1] = std::move(vocabulary[i]);
    models_.preprocessor = std::make_shared<ScriptedModel>(
        describeModel({{"audio_signal", {1, windowSamples}}, {"audio_length", {1}, Type::int32}},
                      {{"mel_length", {1}, Type::int32}}),
        [](ScriptedModel::Call& call) { call.setInt("mel_length", call.inputInt("audio_length")); }, "preprocessor");
    models_.encoder = std::make_shared<ScriptedModel>(
        describeModel({{"audio_signal", {1, windowSamples}}, {"mel_length", {1}, Type::int32}},
                      {{"encoder", {1, windowFrames, 1024}}, {"encoder_length", {1}, Type::int32}}),
        [this](ScriptedModel::Call& call) {
            if (onWindow)
                onWindow(call.index());
            for (std::int64_t frame = 0; frame < windowFrames; ++frame) {
                const std::int64_t middle = std::min(frame * frameSamples + frameSamples / 2, windowSamples - 1);
                call.setFloat("encoder", call.inputFloat("audio_signal", middle), frame * 1024);
            }
            const auto length = static_cast<std::int64_t>(call.inputInt("mel_length"));
            call.setInt("encoder_length", static_cast<std::int32_t>((length + frameSamples - 1) / frameSamples));
        },
        "encoder");
    models_.decoder = std::make_shared<ScriptedModel>(
        ScriptedTransducer::decoderDescription(), [](ScriptedModel::Call&) {}, "decoder");
    models_.joint = std::make_shared<ScriptedModel>(
        ScriptedTransducer::jointDescription(),
        [](ScriptedModel::Call& call) {
            const int token = static_cast<int>(std::lround(call.inputFloat("encoder_step") * levelsPerUnit));
            call.setInt("token_id", token == 0 ? blank : token);
            call.setFloat("token_prob", 0.9F);
            call.setInt("duration", 1);
        },
        "joint");
}

AsrModels ScriptedRecogniser::models() const {
    return models_;
}

std::vector<float> ScriptedRecogniser::spokenAudio(double seconds, const std::map<int, int>& tokensByFrame) {
    std::vector<float> samples(static_cast<std::size_t>(seconds * 16000));
    for (const auto& [frame, token] : tokensByFrame) {
        const auto first = static_cast<std::size_t>(frame * frameSamples);
        std::fill_n(samples.begin() + static_cast<std::ptrdiff_t>(first), frameSamples,
                    static_cast<float>(token) / levelsPerUnit);
    }
    return samples;
}

void ScriptedRecogniser::writeSpokenWAV(const std::filesystem::path& file, double seconds,
                                        const std::map<int, int>& tokensByFrame) {
    writeAudio(file, FixtureFormat::wavFloat, 16000, 1, spokenAudio(seconds, tokensByFrame));
}

} // namespace VarnelSpeech::Testing
