#include "VarnelSpeech/Asr/ScriptedRecognizer.h"

#include "support/ScriptedTransducer.h"

#include <algorithm>
#include <numeric>

namespace VarnelSpeech::Testing {

namespace {

using Type = MLMultiArrayDataType;

constexpr int frameSamples = 1280;
constexpr std::int64_t encoderFrames = 188;
constexpr std::int64_t hiddenSize = 1024;

ScriptedRecognizer::Window heardWindow(ScriptedModel::Call& call) {
    const MLMultiArray& signal = call.input("audio_signal");
    const auto* samples = signal.data<float>();
    const int length = call.inputInt("audio_length");
    const auto begin = std::clamp<std::int64_t>(length, 0, signal.count());
    const bool isPadded =
        std::all_of(samples + begin, samples + signal.count(), [](float value) { return value == 0; });
    const auto last = std::max_element(samples, samples + signal.count());
    return {static_cast<std::size_t>(signal.count()), static_cast<int>(samples[0]), static_cast<int>(*last), length,
            isPadded};
}

} // namespace

std::vector<float> ScriptedRecognizer::numberedAudio(std::size_t samples) {
    std::vector<float> audio(samples);
    std::iota(audio.begin(), audio.end(), 0.0F);
    return audio;
}

ScriptedRecognizer::ScriptedRecognizer(Speech speech) {
    preprocessor_ =
        std::make_shared<ScriptedModel>(describeModel({{"audio_signal", {1, -1}}, {"audio_length", {1}, Type::int32}},
                                                      {{"mel", {1, 1}}, {"mel_length", {1}, Type::int32}}),
                                        [windows = windows_](ScriptedModel::Call& call) {
                                            windows->push_back(heardWindow(call));
                                            // The network passes on where in the audio its window lies.
                                            call.setFloat("mel", static_cast<float>(windows->back().start));
                                            call.setInt("mel_length", windows->back().audioLength);
                                        });
    encoder_ = std::make_shared<ScriptedModel>(
        describeModel({{"mel", {1, 1}}, {"mel_length", {1}, Type::int32}},
                      {{"encoder", {1, encoderFrames, hiddenSize}}, {"encoder_length", {1}, Type::int32}}),
        [length = encoderLength_](ScriptedModel::Call& call) {
            const int firstFrame = static_cast<int>(call.inputFloat("mel")) / frameSamples;
            auto* values = call.output("encoder").data<float>();
            for (std::int64_t t = 0; t < encoderFrames; ++t) {
                values[t * hiddenSize] = static_cast<float>(firstFrame + t);
            }
            call.setInt("encoder_length", *length);
        });
    decoder_ = std::make_shared<ScriptedModel>(ScriptedTransducer::decoderDescription(), [](ScriptedModel::Call& call) {
        call.setFloat("decoder", static_cast<float>(call.inputInt("targets")));
        call.setFloat("h_out", call.inputFloat("h_in") + 1.0F);
        call.setFloat("c_out", static_cast<float>(call.inputInt("targets")));
    });
    joint_ = std::make_shared<ScriptedModel>(
        ScriptedTransducer::jointDescription(), [speech = std::move(speech)](ScriptedModel::Call& call) {
            const auto said = speech.find(static_cast<int>(call.inputFloat("encoder_step")));
            call.setInt("token_id", said != speech.end() ? said->second : blank);
            call.setFloat("token_prob", 0.5F);
            call.setInt("duration", 1);
        });
}

AsrModels ScriptedRecognizer::models(AsrModelVersion version) const {
    AsrModels models;
    models.preprocessor = preprocessor_;
    models.encoder = encoder_;
    models.decoder = decoder_;
    models.joint = joint_;
    models.version = version;
    for (int id = 0; id < 100; ++id) {
        models.vocabulary[id] = "▁w" + std::to_string(id);
    }
    return models;
}

} // namespace VarnelSpeech::Testing
