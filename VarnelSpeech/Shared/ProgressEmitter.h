#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <optional>

namespace VarnelSpeech {

// A stream of progress values from 0 to 1 that ends, well or with an error. One reader, any number of writers.
class ProgressStream {
public:
    ProgressStream();
    ~ProgressStream();

    // Waits for the next value; none at the stream's end. Rethrows the error that the stream ended with, once.
    std::optional<double> next();

private:
    friend class ProgressEmitter;
    struct State;
    std::shared_ptr<State> state_;
};

// Offers the progress of one transcription at a time as a stream. A serialised object: its operations are mutually
// exclusive (one mutex) and may be called from any thread.
class ProgressEmitter {
public:
    ProgressEmitter() = default;
    // Ends a running stream, so that its reader does not wait for ever.
    ~ProgressEmitter();
    ProgressEmitter(const ProgressEmitter&) = delete;
    ProgressEmitter& operator=(const ProgressEmitter&) = delete;

    // The running session's stream, made if there is none.
    std::shared_ptr<ProgressStream> ensureSession();

    // Sends the value, limited to 0..1; without an active session nothing happens.
    void report(double progress);

    // Sends 1.0 and ends the stream.
    void finishSession();

    // Ends the stream with an error.
    void failSession(std::exception_ptr error);

    // The same as ensureSession.
    std::shared_ptr<ProgressStream> progressStream() { return ensureSession(); }

private:
    std::mutex mutex_;
    std::shared_ptr<ProgressStream> stream_;
    bool isActive_ = false;
};

} // namespace VarnelSpeech
