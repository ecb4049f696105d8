#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

#include <mutex>

namespace VarnelSpeech {

// Logs the line about the machine once, however often it is asked to. A serialised object (one mutex).
class SystemInfoReporter {
public:
    // The process's reporter.
    static SystemInfoReporter& shared();

    // "Host environment: " and the summary, at info level, the first time.
    void logOnce(const AppLogger& logger);

private:
    std::mutex mutex_;
    bool didLog_ = false;
};

} // namespace VarnelSpeech
