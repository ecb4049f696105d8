#pragma once

#include "VarnelSpeech/Asr/AsrModels.h"
#include "support/ScriptedModel.h"

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

namespace VarnelSpeech::Testing {

// What is said: a frame of the audio to the token that is said there.
using Speech = std::map<int, int>;

// Four scripted networks that hear the tokens of `speech` in numbered audio, whose sample i is i.
class ScriptedRecognizer {
public:
    explicit ScriptedRecognizer(Speech speech);

    AsrModels models(AsrModelVersion version = AsrModelVersion::v3) const;

    // What the preprocessor was asked.
    struct Window {
        std::size_t samples = 0; // with padding
        int start = 0;           // the first sample's number
        int lastSample = 0;      // the number of the last sample that is none of the padding
        int audioLength = 0;
        bool isPaddedWithZeros = false; // behind audioLength
    };

    const std::vector<Window>& windows() const { return *windows_; }

    ScriptedModel& preprocessor() { return *preprocessor_; }

    ScriptedModel& encoder() { return *encoder_; }

    ScriptedModel& decoder() { return *decoder_; }

    ScriptedModel& joint() { return *joint_; }

    // The encoder's length, 188 unless set.
    void setEncoderLength(int length) { *encoderLength_ = length; }

    static constexpr int blank = 8192;
    static std::vector<float> numberedAudio(std::size_t samples);

private:
    std::shared_ptr<std::vector<Window>> windows_ = std::make_shared<std::vector<Window>>();
    std::shared_ptr<int> encoderLength_ = std::make_shared<int>(188);
    std::shared_ptr<ScriptedModel> preprocessor_;
    std::shared_ptr<ScriptedModel> encoder_;
    std::shared_ptr<ScriptedModel> decoder_;
    std::shared_ptr<ScriptedModel> joint_;
};

} // namespace VarnelSpeech::Testing
