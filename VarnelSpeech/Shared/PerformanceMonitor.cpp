#include "VarnelSpeech/Shared/PerformanceMonitor.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace VarnelSpeech {

namespace {

std::string intervalMessage(std::string_view operation, std::optional<double> audioDuration) {
    return audioDuration ? fmt::format("{}, {:.3f}s of audio", operation, *audioDuration) : std::string(operation);
}

} // namespace

PerformanceMonitor::PerformanceMonitor(Seconds now) : now_(std::move(now)) {}

void PerformanceMonitor::record(const ASRPerformanceMetrics& metrics) {
    const std::lock_guard lock(mutex_);
    metrics_.push_back(metrics);
}

std::optional<AggregatedMetrics> PerformanceMonitor::aggregatedMetrics() const {
    const std::lock_guard lock(mutex_);
    if (metrics_.empty())
        return std::nullopt;
    AggregatedMetrics aggregate;
    aggregate.sampleCount = metrics_.size();
    aggregate.maxMemoryMB = metrics_.front().peakMemoryMB;
    for (const ASRPerformanceMetrics& metrics : metrics_) {
        aggregate.averageRTFx += metrics.rtfx;
        aggregate.averageProcessingTime += metrics.totalProcessingTime;
        aggregate.maxMemoryMB = std::max(aggregate.maxMemoryMB, metrics.peakMemoryMB);
    }
    aggregate.averageRTFx /= static_cast<float>(metrics_.size());
    aggregate.averageProcessingTime /= static_cast<double>(metrics_.size());
    return aggregate;
}

double PerformanceMonitor::steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

PerformanceMonitor::Measurement::Measurement(PerformanceMonitor& monitor, std::string_view intervalName,
                                             std::string_view operation, std::optional<double> audioDuration)
    : monitor_(monitor),
      operation_(operation),
      interval_(monitor.signpostLogger_.beginInterval(intervalName, intervalMessage(operation, audioDuration))),
      begin_(monitor.now_()) {}

PerformanceMonitor::Measurement::~Measurement() {
    if (!interval_.hasEnded)
        monitor_.signpostLogger_.endInterval(interval_);
}

void PerformanceMonitor::Measurement::finish() {
    const double seconds = monitor_.now_() - begin_;
    monitor_.signpostLogger_.endInterval(interval_);
    monitor_.logger_.info(fmt::format("{} completed: {:.3f}s", operation_, seconds));
}

} // namespace VarnelSpeech
