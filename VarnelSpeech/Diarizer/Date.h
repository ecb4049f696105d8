#pragma once

#include <chrono>
#include <functional>

namespace VarnelSpeech {

// A point of the wall clock's time. It may go back when the machine's clock is set.
using Date = std::chrono::system_clock::time_point;

// Tells the time; tests pass a clock of their own.
using DateSource = std::function<Date()>;

} // namespace VarnelSpeech
