// Counts what the decode loop allocates. A program of its own, since it replaces the allocator.
#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include "VarnelSpeech/Inference/AllocationCounter.h"
#include "support/ScriptedTransducer.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

constexpr int frameCount = 188;

// Networks that emit a token at every third frame, two at every ninth, and note the allocations so far at each joint
// call without allocating themselves.
class CountingTransducer {
public:
    CountingTransducer()
        : decoder(ScriptedTransducer::decoderDescription(),
                  [this](ScriptedModel::Call& call) {
                      call.setFloat("decoder", static_cast<float>(call.inputInt("targets")));
                      call.setFloat("h_out", call.inputFloat("h_in") + 1.0F);
                      decoderCalls += 1;
                  }),
          joint(ScriptedTransducer::jointDescription(), [this](ScriptedModel::Call& call) {
              const int frame = static_cast<int>(call.inputFloat("encoder_step"));
              const int label = static_cast<int>(call.inputFloat("decoder_step"));
              const bool isToken = frame % 3 == 0 && label != 100 + frame;
              call.setInt("token_id", isToken ? 100 + frame : blank);
              call.setFloat("token_prob", 0.5F);
              call.setInt("duration", isToken && frame % 9 == 0 ? 0 : 1);
              if (jointCalls == 0) {
                  atFirstCall = counter.ownAllocations();
              }
              atLastCall = counter.ownAllocations();
              jointCalls += 1;
          }) {}

    ScriptedModel decoder;
    ScriptedModel joint;
    std::size_t decoderCalls = 0;
    std::size_t jointCalls = 0;
    int atFirstCall = 0;
    int atLastCall = 0;
    const AllocationCounter counter;
};

class DecodeAllocation : public ::testing::TestWithParam<EncoderLayout> {};

TEST_P(DecodeAllocation, IsNoneFromTheFirstStepToTheLast) {
    CountingTransducer networks;
    const auto encoderOutput = makeEncoderOutput(frameCount, GetParam());
    const TdtDecoderV3 decoder({});
    TdtDecoderState state;
    std::size_t tokens = 0;
    // The first call warms the models' pools of results up.
    for (int call = 0; call < 2; ++call) {
        networks.jointCalls = 0;
        networks.decoderCalls = 0;
        state.reset();
        tokens = decoder
                     .decodeWithTimings(encoderOutput, frameCount, frameCount, networks.decoder, networks.joint, state,
                                        0, true)
                     .tokenIds.size();
    }
    EXPECT_GT(networks.jointCalls, 180U);
    EXPECT_GT(tokens, 60U);
    EXPECT_GE(networks.decoderCalls, tokens + 1);
    EXPECT_EQ(networks.atLastCall - networks.atFirstCall, 0);
}

TEST_P(DecodeAllocation, OfACallDoesNotDependOnItsLength) {
    CountingTransducer networks;
    const auto encoderOutput = makeEncoderOutput(frameCount, GetParam());
    const TdtDecoderV3 decoder({});
    TdtDecoderState state;
    const auto allocationsOf = [&](int frames) {
        state.reset();
        const int before = networks.counter.ownAllocations();
        decoder.decodeWithTimings(encoderOutput, frames, frames, networks.decoder, networks.joint, state);
        return networks.counter.ownAllocations() - before;
    };
    allocationsOf(frameCount);
    EXPECT_EQ(allocationsOf(frameCount), allocationsOf(10));
    EXPECT_GT(allocationsOf(10), 0); // the counter counts
}

INSTANTIATE_TEST_SUITE_P(BothLayouts, DecodeAllocation,
                         ::testing::Values(EncoderLayout::hiddenFirst, EncoderLayout::timeFirst),
                         [](const auto& layout) {
                             return layout.param == EncoderLayout::hiddenFirst ? "HiddenFirst" : "TimeFirst";
                         });

} // namespace
} // namespace VarnelSpeech::Testing
