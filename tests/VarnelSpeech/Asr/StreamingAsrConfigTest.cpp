#include "VarnelSpeech/Asr/StreamingAsrConfig.h"

#include "VarnelSpeech/Asr/StreamingAsrError.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace VarnelSpeech::Testing {
namespace {

StreamingAsrConfig config(double chunk, double left, double right) {
    StreamingAsrConfig config;
    config.chunkSeconds = chunk;
    config.leftContextSeconds = left;
    config.rightContextSeconds = right;
    return config;
}

std::string problem(const StreamingAsrConfig& config) {
    try {
        config.validate();
    } catch (const StreamingAsrError& error) {
        EXPECT_EQ(error.error(), StreamingAsrError::Case::invalidConfiguration);
        return error.what();
    }
    return "(none)";
}

TEST(StreamingAsrConfig, HasTheKnownConfigurations) {
    EXPECT_EQ(StreamingAsrConfig{}, (StreamingAsrConfig{15.0, 2.0, 10.0, 2.0, 10.0, 0.85}));
    EXPECT_EQ(StreamingAsrConfig::lowLatency(), (StreamingAsrConfig{11.0, 1.0, 2.0, 2.0, 10.0, 0.8}));
    EXPECT_EQ(StreamingAsrConfig::liveCaptions(), (StreamingAsrConfig{3.0, 1.0, 1.0, 0.5, 2.0, 0.6}));
}

TEST(StreamingAsrConfig, ACustomOneGuessesAgainAfterHalfAChunkAtMostASecond) {
    EXPECT_EQ(StreamingAsrConfig::custom(8.0, 0.7), (StreamingAsrConfig{8.0, 1.0, 10.0, 2.0, 10.0, 0.7}));
    EXPECT_EQ(StreamingAsrConfig::custom(1.0, 0.7), (StreamingAsrConfig{1.0, 0.5, 10.0, 2.0, 10.0, 0.7}));
}

TEST(StreamingAsrConfig, AcceptsWhatMakesAWindow) {
    for (const auto& fine : {StreamingAsrConfig{}, StreamingAsrConfig::lowLatency(), StreamingAsrConfig::liveCaptions(),
                             config(1.0 / 16000, 0, 0), config(600, 0, 0)})
        EXPECT_EQ(problem(fine), "(none)");
}

TEST(StreamingAsrConfig, RefusesWhatMakesNone) {
    EXPECT_EQ(problem(config(0, 0, 0)), "Invalid configuration: chunkSeconds is 0, expected 6.25e-05 to 600 s");
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double chunk : {-1.0, 1e-9, 601.0, infinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_NE(problem(config(chunk, 0, 0)).find("chunkSeconds is"), std::string::npos) << chunk;
    for (const double context : {-0.5, 601.0, infinity, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_NE(problem(config(1, context, 0)).find("leftContextSeconds is"), std::string::npos) << context;
        EXPECT_NE(problem(config(1, 0, context)).find("rightContextSeconds is"), std::string::npos) << context;
    }
    EXPECT_EQ(problem(config(300, 300, 1)), "Invalid configuration: a window is 601, expected 6.25e-05 to 600 s");
}

} // namespace
} // namespace VarnelSpeech::Testing
