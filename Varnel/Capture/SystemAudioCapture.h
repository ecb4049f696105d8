#pragma once

#include "Varnel/Platform/LoopbackAudio.h"

#include <QCoroTask>

#include <memory>

namespace Varnel {

// What the other participants say: the machine's sound output without our own playback. Main context, but for the
// handler, which runs on the capture's thread.
class SystemAudioCapture {
public:
    // `loopback` outlives the capture.
    SystemAudioCapture(LoopbackAudio& loopback, AudioBlockHandler onBuffer);
    // The handler has run for the last time when this returns.
    ~SystemAudioCapture();

    // Does nothing while it captures. Throws AudioStreamError. A start that is still under way when this object is
    // stopped, started again or destroyed ends without a capture.
    QCoro::Task<> start();
    // When it returns, the handler has run for the last time. Does nothing before a start. Never throws. Not from the
    // handler.
    QCoro::Task<> stop();

    bool isCapturing() const { return stream_ != nullptr; }

private:
    struct Delivery;

    // From here on the handler is not called.
    void endDelivery();

    LoopbackAudio& loopback_;
    AudioBlockHandler onBuffer_;
    std::shared_ptr<Delivery> delivery_; // of the last start
    std::unique_ptr<AudioStream> stream_;
};

} // namespace Varnel
