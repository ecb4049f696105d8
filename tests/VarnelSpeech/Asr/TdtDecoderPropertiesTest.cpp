// The decoder against a plain second writing of its steps, and what holds of every decode.
#include "VarnelSpeech/Asr/TdtDecoderV3.h"

#include "support/ScriptedTransducer.h"

#include "rapidcheck.h"
#include <algorithm>
#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {
namespace {

struct Expected {
    std::vector<int> tokens;
    std::vector<int> timestamps;
    std::vector<int> frames; // looked at
    std::optional<int> timeJump;
};

struct Setting {
    int frames = 0;
    int start = 0;
    bool isLastChunk = false;
    TdtConfig config;
    std::vector<JointDecision> decisions; // then blanks of one frame
};

// One long procedure, with every step where it comes.
Expected reference(const Setting& setting) {
    const TdtConfig& config = setting.config;
    Expected expected;
    std::size_t calls = 0;
    const auto joint = [&](int frame) {
        expected.frames.push_back(frame);
        return calls < setting.decisions.size() ? setting.decisions[calls++] : JointDecision{blank, 0.5F, 1};
    };
    const auto bins = [&](int bin) { return config.durationBins[static_cast<std::size_t>(bin)]; };
    const int last = setting.frames - 1;
    int time = setting.start;
    int safe = std::min(time, last);
    int lastEmission = -1;
    int emissions = 0;
    int tokens = 0;
    bool isRunning = true;
    while (isRunning && time < setting.frames) {
        JointDecision decision = joint(safe);
        int duration = bins(decision.durationBin);
        duration = decision.token == blank && duration == 0 ? 1 : duration;
        int next = time + duration;
        safe = std::min(last, next);
        if (next >= setting.frames) {
            time = next;
            break;
        }
        while (decision.token == blank) {
            time = next;
            decision = joint(safe);
            duration = bins(decision.durationBin);
            duration = decision.token == blank && duration == 0 ? 1 : duration;
            next = time + duration;
            safe = std::min(last, next);
            if (next >= setting.frames) {
                time = next;
                isRunning = false;
                break;
            }
        }
        if (!isRunning) {
            break;
        }
        if (++tokens > config.maxTokensPerChunk) {
            time = next;
            break;
        }
        expected.tokens.push_back(decision.token);
        expected.timestamps.push_back(time);
        bool isForced = false;
        if (time == lastEmission) {
            isForced = ++emissions >= config.maxSymbolsPerStep;
        } else if (config.maxSymbolsPerStep <= 1) {
            isForced = true;
        } else {
            lastEmission = time;
            emissions = 1;
        }
        if (isForced) {
            next = std::min(last, next + 1);
            safe = next;
            lastEmission = -1;
            emissions = 0;
        }
        time = next;
    }
    expected.timeJump = time - setting.frames;
    if (setting.isLastChunk) {
        expected.timeJump.reset();
    }
    if (setting.isLastChunk && config.maxSymbolsPerStep >= 1 && config.consecutiveBlankLimit >= 1) {
        int position = time;
        int blanks = 0;
        int steps = 1;
        int variation = 0;
        while (true) {
            const int candidates[] = {std::min(last, position), last, std::min(last, std::max(0, setting.frames - 2))};
            const JointDecision decision = joint(candidates[variation % 3]);
            if (decision.token != blank) {
                expected.tokens.push_back(decision.token);
                expected.timestamps.push_back(std::min(last, position));
                blanks = 0;
            } else {
                blanks += 1;
            }
            position = std::min(setting.frames, position + std::max(bins(decision.durationBin), 1));
            if (steps >= config.maxSymbolsPerStep) {
                break;
            }
            steps += 1;
            variation += 1;
            if (blanks >= config.consecutiveBlankLimit) {
                break;
            }
        }
    }
    return expected;
}

Setting arbitrarySetting() {
    Setting setting;
    setting.frames = *rc::gen::inRange(2, 60);
    setting.start = *rc::gen::inRange(0, setting.frames);
    setting.isLastChunk = *rc::gen::arbitrary<bool>();
    setting.config.maxSymbolsPerStep = *rc::gen::inRange(0, 5);
    setting.config.maxTokensPerChunk = *rc::gen::element(0, 3, 20, 150);
    setting.config.consecutiveBlankLimit = *rc::gen::inRange(0, 4);
    const int count = *rc::gen::inRange(0, 80);
    for (int index = 0; index < count; ++index) {
        setting.decisions.push_back(
            {*rc::gen::element(blank, blank, 1, 2, 7883), 0.5F, *rc::gen::element(0, 0, 1, 1, 2, 3, 4)});
    }
    return setting;
}

TEST(TdtDecoderV3, DecodesAnyDecisionsAsThePlainSteps) {
    EXPECT_TRUE(rc::check("any decisions", [] {
        const Setting setting = arbitrarySetting();
        const Expected expected = reference(setting);
        ScriptedTransducer transducer(setting.decisions);
        TdtDecoderState state;
        ASRConfig config;
        config.tdtConfig = setting.config;
        const TdtHypothesis hypothesis = TdtDecoderV3(config).decodeWithTimings(
            makeEncoderOutput(setting.frames), setting.frames, setting.frames, transducer.decoder(), transducer.joint(),
            state, setting.start, setting.isLastChunk, 1000);
        std::vector<int> frames = hypothesis.timestamps;
        for (int& frame : frames) {
            frame -= 1000;
        }
        RC_ASSERT(hypothesis.tokenIds == expected.tokens);
        RC_ASSERT(frames == expected.timestamps);
        RC_ASSERT(transducer.frames() == expected.frames);
        RC_ASSERT(state.timeJump == expected.timeJump);
        RC_ASSERT(state.predictorOutput == nullptr);
        const std::optional<int> last =
            expected.tokens.empty() ? std::nullopt : std::optional<int>(expected.tokens.back());
        RC_ASSERT(state.lastToken == last);
    }));
}

TEST(TdtDecoderV3, EveryHypothesisKeepsItsBounds) {
    EXPECT_TRUE(rc::check("any decisions, over two windows of a stream", [] {
        ScriptedTransducer transducer([](const ScriptedTransducer::Question& question) {
            const unsigned mixed = (static_cast<unsigned>(question.frame) * 7U + static_cast<unsigned>(question.index) +
                                    static_cast<unsigned>(question.label)) *
                                   2654435761U;
            return JointDecision{(mixed >> 8U) % 3U == 0U ? blank : static_cast<int>((mixed >> 12U) % 50U),
                                 static_cast<float>((mixed >> 16U) % 200U) / 100.0F,
                                 static_cast<int>((mixed >> 24U) % 5U)};
        });
        TdtDecoderState state;
        const int frames = *rc::gen::inRange(2, 200);
        const bool isLastChunk = *rc::gen::arbitrary<bool>();
        for (int window = 0; window < 2; ++window) {
            const TdtHypothesis hypothesis =
                TdtDecoderV3({}).decodeWithTimings(makeEncoderOutput(frames), frames, frames, transducer.decoder(),
                                                   transducer.joint(), state, 0, isLastChunk, 500);
            RC_ASSERT(hypothesis.timestamps.size() == hypothesis.tokenIds.size());
            RC_ASSERT(hypothesis.tokenConfidences.size() == hypothesis.tokenIds.size());
            RC_ASSERT(hypothesis.tokenDurations.empty());
            RC_ASSERT(hypothesis.tokenIds.size() <= (isLastChunk ? 160U : 150U));
            RC_ASSERT(std::is_sorted(hypothesis.timestamps.begin(), hypothesis.timestamps.end()));
            for (const int timestamp : hypothesis.timestamps) {
                RC_ASSERT(timestamp >= 500 && timestamp < 500 + frames);
            }
            for (const float confidence : hypothesis.tokenConfidences) {
                RC_ASSERT(confidence >= 0.0F && confidence <= 1.0F);
            }
        }
    }));
}

} // namespace
} // namespace VarnelSpeech::Testing
