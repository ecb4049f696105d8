#include "VarnelSpeech/Shared/ASRPerformanceMetrics.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <stdexcept>

namespace VarnelSpeech {

std::string ASRPerformanceMetrics::description() const {
    std::string text = fmt::format("Performance Metrics:\n- Preprocessor: {:.3f}s\n- Encoder: {:.3f}s\n"
                                   "- Decoder: {:.3f}s\n- Total: {:.3f}s\n- RTFx: {:.1f}x real-time\n"
                                   "- Peak Memory: {:.1f} MB",
                                   preprocessorTime, encoderTime, decoderTime, totalProcessingTime, rtfx, peakMemoryMB);
    if (gpuUtilization)
        text += fmt::format("\n- GPU Utilization: {:.1f}%", *gpuUtilization);
    return text;
}

std::string ASRPerformanceMetrics::toJson() const {
    nlohmann::ordered_json json{{"preprocessorTime", preprocessorTime},
                                {"encoderTime", encoderTime},
                                {"decoderTime", decoderTime},
                                {"totalProcessingTime", totalProcessingTime},
                                {"rtfx", rtfx},
                                {"peakMemoryMB", peakMemoryMB}};
    if (gpuUtilization)
        json["gpuUtilization"] = *gpuUtilization;
    return json.dump();
}

ASRPerformanceMetrics ASRPerformanceMetrics::fromJson(const std::string& json) {
    try {
        const auto object = nlohmann::json::parse(json);
        ASRPerformanceMetrics metrics;
        object.at("preprocessorTime").get_to(metrics.preprocessorTime);
        object.at("encoderTime").get_to(metrics.encoderTime);
        object.at("decoderTime").get_to(metrics.decoderTime);
        object.at("totalProcessingTime").get_to(metrics.totalProcessingTime);
        object.at("rtfx").get_to(metrics.rtfx);
        object.at("peakMemoryMB").get_to(metrics.peakMemoryMB);
        if (const auto found = object.find("gpuUtilization"); found != object.end() && !found->is_null())
            metrics.gpuUtilization = found->get<float>();
        return metrics;
    } catch (const nlohmann::json::exception& error) {
        throw std::invalid_argument(error.what());
    }
}

} // namespace VarnelSpeech
