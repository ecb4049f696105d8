#include "VarnelSpeech/Shared/AggregatedMetrics.h"

#include <fmt/format.h>

namespace VarnelSpeech {

std::string AggregatedMetrics::description() const {
    return fmt::format("Aggregated Metrics ({} samples):\n- Average RTFx: {:.1f}x real-time\n"
                       "- Average Processing Time: {:.3f}s\n- Max Memory Usage: {:.1f} MB",
                       sampleCount, averageRTFx, averageProcessingTime, maxMemoryMB);
}

} // namespace VarnelSpeech
