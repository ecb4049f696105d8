#include "support/ScriptedTransducer.h"

namespace VarnelSpeech::Testing {

using Type = MLMultiArrayDataType;

std::shared_ptr<MLMultiArray> makeEncoderOutput(std::int64_t frames, EncoderLayout layout) {
    constexpr std::int64_t hidden = 1024;
    const bool isTimeFirst = layout == EncoderLayout::timeFirst;
    auto output =
        MLMultiArray::make(isTimeFirst ? MLShape{1, frames, hidden} : MLShape{1, hidden, frames}, Type::float32);
    for (std::int64_t t = 0; t < frames; ++t) {
        for (std::int64_t h = 0; h < hidden; ++h) {
            output->data<float>()[isTimeFirst ? t * hidden + h : h * frames + t] = static_cast<float>(h == 0 ? t : h);
        }
    }
    return output;
}

MLModelDescription ScriptedTransducer::decoderDescription() {
    return describeModel({{"targets", {1, 1}, Type::int32},
                          {"target_length", {1}, Type::int32},
                          {"h_in", {2, 1, 640}},
                          {"c_in", {2, 1, 640}}},
                         {{"decoder", {1, 640, 1}}, {"h_out", {2, 1, 640}}, {"c_out", {2, 1, 640}}});
}

MLModelDescription ScriptedTransducer::jointDescription() {
    return describeModel({{"encoder_step", {1, 1024, 1}}, {"decoder_step", {1, 640, 1}}},
                         {{"token_id", {1, 1, 1}, Type::int32},
                          {"token_prob", {1, 1, 1}, Type::float32},
                          {"duration", {1, 1, 1}, Type::int32}});
}

ScriptedTransducer::ScriptedTransducer(Decide decide)
    : decide_(std::move(decide)),
      decoder_(decoderDescription(),
               [this](ScriptedModel::Call& call) {
                   const int target = call.inputInt("targets");
                   targets_.push_back(target);
                   call.setFloat("decoder", static_cast<float>(target));
                   call.setFloat("h_out", call.inputFloat("h_in") + 1.0F);
                   call.setFloat("c_out", static_cast<float>(target));
               }),
      joint_(jointDescription(), [this](ScriptedModel::Call& call) {
          const Question question{static_cast<int>(call.inputFloat("encoder_step")),
                                  static_cast<int>(call.inputFloat("decoder_step")), questions_.size()};
          questions_.push_back(question);
          const JointDecision decision = decide_(question);
          call.setInt("token_id", decision.token);
          call.setFloat("token_prob", decision.probability);
          call.setInt("duration", decision.durationBin);
      }) {}

ScriptedTransducer::ScriptedTransducer(std::vector<JointDecision> decisions)
    : ScriptedTransducer([decisions = std::move(decisions)](const Question& question) {
          return question.index < decisions.size() ? decisions[question.index] : JointDecision{blank, 0.5F, 1};
      }) {}

std::vector<int> ScriptedTransducer::frames() const {
    std::vector<int> frames;
    for (const Question& question : questions_) {
        frames.push_back(question.frame);
    }
    return frames;
}

} // namespace VarnelSpeech::Testing
