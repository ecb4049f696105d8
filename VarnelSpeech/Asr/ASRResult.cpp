#include "VarnelSpeech/Asr/ASRResult.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace VarnelSpeech {

namespace {

using Json = nlohmann::ordered_json;

// The double whose shortest decimal form is the float's: 0.1, not 0.10000000149011612.
double decimal(float value) {
    if (!std::isfinite(value)) {
        return static_cast<double>(value);
    }
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), value);
    double result = 0;
    std::from_chars(text.data(), written.ptr, result);
    return result;
}

Json encode(const TokenTiming& timing) {
    return {{"token", timing.token},
            {"tokenId", timing.tokenId},
            {"startTime", timing.startTime},
            {"endTime", timing.endTime},
            {"confidence", decimal(timing.confidence)}};
}

Json encode(const ASRPerformanceMetrics& metrics) {
    Json json{{"preprocessorTime", metrics.preprocessorTime},
              {"encoderTime", metrics.encoderTime},
              {"decoderTime", metrics.decoderTime},
              {"totalProcessingTime", metrics.totalProcessingTime},
              {"rtfx", decimal(metrics.rtfx)},
              {"peakMemoryMB", decimal(metrics.peakMemoryMB)}};
    if (metrics.gpuUtilization) {
        json["gpuUtilization"] = decimal(*metrics.gpuUtilization);
    }
    return json;
}

bool has(const Json& json, const char* key) {
    return json.contains(key) && !json.at(key).is_null();
}

double number(const Json& json, const char* key) {
    const Json& value = json.at(key);
    if (!value.is_number()) {
        throw std::invalid_argument(std::string("'") + key + "' is not a number");
    }
    return value.get<double>();
}

float smallNumber(const Json& json, const char* key) {
    return static_cast<float>(number(json, key));
}

int integer(const Json& json, const char* key) {
    const double value = number(json, key);
    constexpr double limit = std::numeric_limits<int>::max();
    if (!json.at(key).is_number_integer() || std::abs(value) > limit) {
        throw std::invalid_argument(std::string("'") + key + "' is not an integer");
    }
    return static_cast<int>(value);
}

TokenTiming decodeTiming(const Json& json) {
    return {json.at("token").get<std::string>(), integer(json, "tokenId"), number(json, "startTime"),
            number(json, "endTime"), smallNumber(json, "confidence")};
}

ASRPerformanceMetrics decodeMetrics(const Json& json) {
    ASRPerformanceMetrics metrics{number(json, "preprocessorTime"),
                                  number(json, "encoderTime"),
                                  number(json, "decoderTime"),
                                  number(json, "totalProcessingTime"),
                                  smallNumber(json, "rtfx"),
                                  smallNumber(json, "peakMemoryMB"),
                                  std::nullopt};
    if (has(json, "gpuUtilization")) {
        metrics.gpuUtilization = smallNumber(json, "gpuUtilization");
    }
    return metrics;
}

ASRResult decodeResult(const Json& json) {
    ASRResult result;
    result.text = json.at("text").get<std::string>();
    result.confidence = smallNumber(json, "confidence");
    result.duration = number(json, "duration");
    result.processingTime = number(json, "processingTime");
    if (has(json, "tokenTimings")) {
        const Json& timings = json.at("tokenTimings");
        if (!timings.is_array()) {
            throw std::invalid_argument("'tokenTimings' is not an array");
        }
        result.tokenTimings.emplace();
        for (const Json& timing : timings) {
            result.tokenTimings->push_back(decodeTiming(timing));
        }
    }
    if (has(json, "performanceMetrics")) {
        result.performanceMetrics = decodeMetrics(json.at("performanceMetrics"));
    }
    return result;
}

} // namespace

std::string ASRResult::toJson() const {
    Json json{{"text", text},
              {"confidence", decimal(confidence)},
              {"duration", duration},
              {"processingTime", processingTime}};
    if (tokenTimings) {
        Json timings = Json::array();
        for (const TokenTiming& timing : *tokenTimings) {
            timings.push_back(encode(timing));
        }
        json["tokenTimings"] = std::move(timings);
    }
    if (performanceMetrics) {
        json["performanceMetrics"] = encode(*performanceMetrics);
    }
    // A vocabulary may cut characters in pieces; half of one becomes U+FFFD.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

ASRResult ASRResult::fromJson(const std::string& json) {
    try {
        return decodeResult(Json::parse(json));
    } catch (const Json::exception& error) {
        throw std::invalid_argument(std::string("not a transcription result: ") + error.what());
    }
}

} // namespace VarnelSpeech
