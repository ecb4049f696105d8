#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>

namespace Varnel {

// Captured audio is always 32-bit float, interleaved.
struct AudioStreamFormat {
    double sampleRate = 48000; // Hz, above 0
    std::uint32_t channels = 2;

    bool operator==(const AudioStreamFormat&) const = default;
};

// One buffer of a capture.
struct AudioBlock {
    AudioStreamFormat format;
    std::span<const float> samples; // whole frames, interleaved, -1 to 1; gone when the handler returns
    // Frames that passed right before this block and are not in any: the server was away, or dropped them. Zero almost
    // always. Whoever keeps time by counting frames counts these as silence.
    std::uint64_t lostFrames = 0;
};

// Called on the capture's own thread, one block at a time, in order. Must not throw, log, allocate or wait for longer
// than one file write.
using AudioBlockHandler = std::function<void(const AudioBlock&)>;

// A capture could not start or go on; the text names the device or the server, and the server's own reason.
class AudioStreamError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A running capture. Its format never changes: when the device behind it does, the server converts; when the server
// restarts, the capture comes back by itself and tells what was lost. Main context only.
class AudioStream {
public:
    virtual ~AudioStream() = default; // stops

    virtual AudioStreamFormat format() const = 0;

    // While paused no block comes, and the paused time is not lost time.
    virtual void pause() = 0;
    // Throws AudioStreamError.
    virtual void resume() = 0;

    // When it returns, the handler has run for the last time. A second call does nothing.
    virtual void stop() noexcept = 0;
};

} // namespace Varnel
