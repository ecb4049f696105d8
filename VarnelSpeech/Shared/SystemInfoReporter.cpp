#include "VarnelSpeech/Shared/SystemInfoReporter.h"

#include "VarnelSpeech/Shared/SystemInfo.h"

namespace VarnelSpeech {

SystemInfoReporter& SystemInfoReporter::shared() {
    static SystemInfoReporter reporter;
    return reporter;
}

void SystemInfoReporter::logOnce(const AppLogger& logger) {
    const std::lock_guard lock(mutex_);
    if (didLog_)
        return;
    didLog_ = true;
    logger.info("Host environment: " + SystemInfo::summary());
}

} // namespace VarnelSpeech
