#pragma once

#include "VarnelSpeech/Shared/ASRPerformanceMetrics.h"
#include "VarnelSpeech/Shared/AggregatedMetrics.h"
#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/Signposter.h"

#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace VarnelSpeech {

// Collects timings. A serialised object: its operations may be called from any thread; what is measured runs outside
// its lock, so that measured work may measure parts of itself.
class PerformanceMonitor {
public:
    // Seconds that only ever grow; from where they count is open.
    using Seconds = std::function<double()>;

    explicit PerformanceMonitor(Seconds now = steadySeconds);

    // Runs `work` and gives its result; logs "OPERATION completed: " and the seconds it took. What it throws passes
    // through, and nothing is logged. `audioDuration`, in seconds, is noted with the interval.
    template <typename Work>
    std::invoke_result_t<Work> measure(std::string_view operation, std::optional<double> audioDuration, Work&& work) {
        Measurement measurement(*this, "ASR.Operation", operation, audioDuration);
        return finishing(measurement, std::forward<Work>(work));
    }

    // The same for a part of an operation.
    template <typename Work>
    std::invoke_result_t<Work> measureComponent(std::string_view name, Work&& work) {
        Measurement measurement(*this, "ASR.Component", name, std::nullopt);
        return finishing(measurement, std::forward<Work>(work));
    }

    void record(const ASRPerformanceMetrics& metrics);

    // None before the first record.
    std::optional<AggregatedMetrics> aggregatedMetrics() const;

    static double steadySeconds();

private:
    // One measured interval: begins with the object; ends and is logged with finish(), or only ends with the object.
    class Measurement {
    public:
        Measurement(PerformanceMonitor& monitor, std::string_view intervalName, std::string_view operation,
                    std::optional<double> audioDuration);
        ~Measurement();
        Measurement(const Measurement&) = delete;
        Measurement& operator=(const Measurement&) = delete;
        void finish();

    private:
        PerformanceMonitor& monitor_;
        std::string_view operation_;
        Signposter::Interval interval_;
        double begin_;
    };

    template <typename Work>
    static std::invoke_result_t<Work> finishing(Measurement& measurement, Work&& work) {
        if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
            std::forward<Work>(work)();
            measurement.finish();
        } else {
            std::invoke_result_t<Work> result = std::forward<Work>(work)();
            measurement.finish();
            return result;
        }
    }

    AppLogger logger_{"Performance"};
    Signposter signpostLogger_{logger_};
    Seconds now_;
    mutable std::mutex mutex_;
    std::vector<ASRPerformanceMetrics> metrics_; // guarded by mutex_
};

} // namespace VarnelSpeech
