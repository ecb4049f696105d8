#pragma once

#include "Varnel/Platform/ApplicationLog.h"

#include <QStringList>

#include <memory>
#include <mutex>

namespace Varnel::Testing {

// Records the application's log while it lives.
class ApplicationLogRecorder {
public:
    ApplicationLogRecorder()
        : before_(setLogSink([recorded = recorded_](const QString& line) {
              const std::lock_guard lock(recorded->mutex);
              recorded->lines.append(line);
          })) {}

    ~ApplicationLogRecorder() { setLogSink(before_); }

    ApplicationLogRecorder(const ApplicationLogRecorder&) = delete;
    ApplicationLogRecorder& operator=(const ApplicationLogRecorder&) = delete;

    QStringList lines() const {
        const std::lock_guard lock(recorded_->mutex);
        return recorded_->lines;
    }

private:
    struct Recorded {
        std::mutex mutex;
        QStringList lines;
    };

    std::shared_ptr<Recorded> recorded_ = std::make_shared<Recorded>();
    LogSink before_;
};

} // namespace Varnel::Testing
