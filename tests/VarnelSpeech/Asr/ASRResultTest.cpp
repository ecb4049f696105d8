#include "VarnelSpeech/Asr/ASRResult.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>
#include <limits>

namespace VarnelSpeech {
namespace {

bool equal(const ASRResult& first, const ASRResult& second) {
    return first.text == second.text && first.confidence == second.confidence && first.duration == second.duration &&
           first.processingTime == second.processingTime && first.tokenTimings == second.tokenTimings &&
           first.performanceMetrics == second.performanceMetrics;
}

TEST(ASRResult, IsAnObjectUnderTheFieldsNames) {
    ASRResult result{"grüß \"dich\"", 0.1F, 2.5, 0.25, {}, {}};
    EXPECT_EQ(result.toJson(), R"({"text":"grüß \"dich\"","confidence":0.1,"duration":2.5,"processingTime":0.25})");
    result.tokenTimings = {{" grüß", 7, 0.5, 0.75, 0.9F}};
    result.performanceMetrics = ASRPerformanceMetrics{1.0, 2.0, 3.0, 4.0, 5.5F, 6.0F, 0.3F};
    EXPECT_EQ(result.toJson(),
              R"({"text":"grüß \"dich\"","confidence":0.1,"duration":2.5,"processingTime":0.25,)"
              R"("tokenTimings":[{"token":" grüß","tokenId":7,"startTime":0.5,"endTime":0.75,"confidence":0.9}],)"
              R"("performanceMetrics":{"preprocessorTime":1.0,"encoderTime":2.0,"decoderTime":3.0,)"
              R"("totalProcessingTime":4.0,"rtfx":5.5,"peakMemoryMB":6.0,"gpuUtilization":0.3}})");
}

TEST(ASRResult, ComesBackAsItWas) {
    EXPECT_TRUE(rc::check("any result", [] {
        ASRResult result{"text",
                         static_cast<float>(*rc::gen::inRange(0, 1000000)) / 999983.0F,
                         *rc::gen::arbitrary<double>(),
                         *rc::gen::arbitrary<double>(),
                         {},
                         {}};
        if (*rc::gen::arbitrary<bool>()) {
            result.tokenTimings.emplace();
            const int count = *rc::gen::inRange(0, 4);
            for (int index = 0; index < count; ++index) {
                result.tokenTimings->push_back({"▁é", *rc::gen::arbitrary<int>(), *rc::gen::arbitrary<double>(), 1.5,
                                                *rc::gen::arbitrary<float>()});
            }
        }
        if (*rc::gen::arbitrary<bool>()) {
            result.performanceMetrics.emplace();
            result.performanceMetrics->rtfx = *rc::gen::arbitrary<float>();
        }
        RC_ASSERT(equal(ASRResult::fromJson(result.toJson()), result));
    }));
}

TEST(ASRResult, ReadsUnknownKeysAndNullOptionals) {
    const ASRResult result = ASRResult::fromJson(
        R"({"text":"x","confidence":1,"duration":2,"processingTime":3,"tokenTimings":null,"performanceMetrics":null,"more":[]})");
    EXPECT_EQ(result.text, "x");
    EXPECT_EQ(result.tokenTimings, std::nullopt);
    EXPECT_EQ(result.performanceMetrics, std::nullopt);
}

TEST(ASRResult, RefusesWhatIsNoResult) {
    const std::string start = R"({"text":"x","confidence":1,"duration":2,"processingTime":3)";
    for (const std::string& json :
         {std::string(), std::string("{"), std::string("[]"), std::string("7"), std::string("{}"),
          std::string(R"({"text":1,"confidence":1,"duration":2,"processingTime":3})"),
          std::string(R"({"text":"x","confidence":"1","duration":2,"processingTime":3})"),
          start + R"(,"tokenTimings":7})", start + R"(,"tokenTimings":[7]})", start + R"(,"tokenTimings":{}})",
          start + R"(,"tokenTimings":[{"token":"x","tokenId":1.5,"startTime":0,"endTime":0,"confidence":0}]})",
          start + R"(,"tokenTimings":[{"token":"x","tokenId":1e30,"startTime":0,"endTime":0,"confidence":0}]})",
          start + R"(,"performanceMetrics":[]})", std::string("\"\xFF\""), std::string(100000, '[')}) {
        EXPECT_THROW(ASRResult::fromJson(json), std::invalid_argument) << json.substr(0, 100);
    }
}

TEST(ASRResult, HalvesOfCharactersAreReplaced) {
    ASRResult result;
    result.text = "a\xC3";
    EXPECT_EQ(ASRResult::fromJson(result.toJson()).text, "a\uFFFD");
}

TEST(ASRResult, NumbersThatAreNoneAreNull) {
    ASRResult result;
    result.confidence = std::numeric_limits<float>::quiet_NaN();
    EXPECT_NE(result.toJson().find("\"confidence\":null"), std::string::npos);
}

} // namespace
} // namespace VarnelSpeech
