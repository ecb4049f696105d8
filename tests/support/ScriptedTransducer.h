#pragma once

#include "VarnelSpeech/Asr/JointDecision.h"
#include "VarnelSpeech/Inference/MLModel.h"
#include "support/ScriptedModel.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace VarnelSpeech::Testing {

inline constexpr int blank = 8192;

// The two layouts of an encoder's output.
enum class EncoderLayout { hiddenFirst, timeFirst };

// An encoder output of so many frames. Value 0 of frame t is t, value h of any frame is h.
std::shared_ptr<MLMultiArray> makeEncoderOutput(std::int64_t frames, EncoderLayout layout = EncoderLayout::timeFirst);

// A prediction network and a joint network whose decisions a function makes, with a record of what they were asked.
//
// The prediction network: element 0 of the projection is the token that it was asked for; element 0 of "h_out" is
// that of "h_in" plus 1, element 0 of "c_out" the token.
class ScriptedTransducer {
public:
    struct Question {
        int frame = 0;         // value 0 of the encoder step
        int label = 0;         // value 0 of the decoder step: the token before
        std::size_t index = 0; // of the joint call
    };

    using Decide = std::function<JointDecision(const Question&)>;

    explicit ScriptedTransducer(Decide decide);

    // The n-th joint call gets the n-th decision; after the last, a blank of one frame.
    explicit ScriptedTransducer(std::vector<JointDecision> decisions);

    ScriptedModel& decoder() { return decoder_; }

    ScriptedModel& joint() { return joint_; }

    std::vector<int> frames() const; // looked at by the joint network, in order

    const std::vector<Question>& questions() const { return questions_; }

    const std::vector<int>& targets() const { return targets_; } // that the prediction network was asked for

    static MLModelDescription decoderDescription();
    static MLModelDescription jointDescription();

private:
    Decide decide_;
    std::vector<Question> questions_;
    std::vector<int> targets_;
    ScriptedModel decoder_;
    ScriptedModel joint_;
};

} // namespace VarnelSpeech::Testing
