#include "Varnel/Capture/SystemAudioCapture.h"

#include <mutex>
#include <utility>

namespace Varnel {

namespace {

bool isValid(const AudioBlock& block) {
    return block.format.sampleRate > 0 && block.format.channels > 0 &&
           block.samples.size() % block.format.channels == 0;
}

} // namespace

// Stands between a capture and the handler, from before the capture is there.
struct SystemAudioCapture::Delivery {
    // Free but for the moment of the end, so that the capture's thread does not wait.
    std::mutex mutex;
    bool isWanted = true; // written on the main context alone
};

SystemAudioCapture::SystemAudioCapture(LoopbackAudio& loopback, AudioBlockHandler onBuffer)
    : loopback_(loopback), onBuffer_(std::move(onBuffer)) {}

SystemAudioCapture::~SystemAudioCapture() {
    endDelivery();
}

QCoro::Task<> SystemAudioCapture::start() {
    if (isCapturing())
        co_return;
    endDelivery();
    const auto delivery = delivery_ = std::make_shared<Delivery>();
    AudioBlockHandler handler = [delivery, onBuffer = onBuffer_](const AudioBlock& block) {
        const std::lock_guard lock(delivery->mutex);
        if (delivery->isWanted && isValid(block))
            onBuffer(block);
    };
    std::unique_ptr<AudioStream> stream = co_await loopback_.open(std::move(handler));
    if (!delivery->isWanted)
        co_return; // and nothing of this object is touched: it may be gone
    stream_ = std::move(stream);
}

QCoro::Task<> SystemAudioCapture::stop() {
    endDelivery();
    if (const auto stream = std::exchange(stream_, nullptr))
        stream->stop();
    co_return;
}

void SystemAudioCapture::endDelivery() {
    if (const auto delivery = std::exchange(delivery_, nullptr)) {
        const std::lock_guard lock(delivery->mutex);
        delivery->isWanted = false;
    }
}

} // namespace Varnel
