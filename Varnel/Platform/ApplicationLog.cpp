#include "Varnel/Platform/ApplicationLog.h"

#include <mutex>
#include <utility>

namespace Varnel {

namespace {

struct InstalledSink {
    std::mutex mutex;
    LogSink sink;
};

// Never destroyed: threads may log until the very end of the process.
InstalledSink& installedSink() {
    static auto& installed = *new InstalledSink;
    return installed;
}

} // namespace

void log(const QString& line) {
    InstalledSink& installed = installedSink();
    const std::lock_guard lock(installed.mutex);
    if (installed.sink)
        installed.sink(line);
}

LogSink setLogSink(LogSink sink) {
    InstalledSink& installed = installedSink();
    const std::lock_guard lock(installed.mutex);
    return std::exchange(installed.sink, std::move(sink));
}

} // namespace Varnel
