#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// Marks intervals of work for profiling: each begin and each end is a debug line of the log, under one number, so that
// intervals of one name that overlap can be told apart. May be used from any thread.
class Signposter {
public:
    // An interval that has begun. For one thread at a time.
    struct Interval {
        std::string name;
        std::uint64_t number = 0;
        bool hasEnded = false;
    };

    explicit Signposter(AppLogger logger);

    // "begin ASR.Operation 1: transcribe"
    Interval beginInterval(std::string_view name, std::string_view message = {});

    // "end ASR.Operation 1"; a second end of one interval gives "end ASR.Operation 1: [Error] Interval already ended".
    void endInterval(Interval& interval);

private:
    AppLogger logger_;
    std::atomic<std::uint64_t> lastNumber_ = 0;
};

} // namespace VarnelSpeech
