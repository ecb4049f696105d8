#pragma once

#include <QString>

#include <functional>

namespace Varnel {

// The application's one logging call: a plain line with a fixed prefix. From any thread.
void log(const QString& line);

// Where the lines go. Called on the thread that logs, one call at a time; must not log itself and must not throw.
using LogSink = std::function<void(const QString& line)>;

// Replaces the sink and returns the one before. None (as at the start) means that lines go nowhere.
LogSink setLogSink(LogSink sink);

} // namespace Varnel
