// The intake thread: captured audio to 16 kHz mono.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"

#include <algorithm>

namespace VarnelSpeech {

namespace {

// A rate of nearly nothing makes hours out of one buffer.
bool isReasonable(const PcmBuffer& buffer) {
    constexpr double longest = 600.0 * 16000;
    const auto frames = static_cast<double>(buffer.frameLength());
    return frames / buffer.format().sampleRate * 16000 <= std::max(frames, longest);
}

} // namespace

void StreamingAsrManager::takeInAudio() {
    const std::stop_token stop = cancellation_.get_token();
    std::vector<StreamingAudioQueue::Entry> entries;
    entries.reserve(StreamingAudioQueue::expectedBuffers);
    while (queue_.take(entries, stop)) {
        for (StreamingAudioQueue::Entry& entry : entries) {
            if (stop.stop_requested())
                break;
            if (auto* buffer = std::get_if<PcmBuffer>(&entry)) {
                takeIn(*buffer);
                queue_.giveBack(std::move(*buffer));
            } else {
                reportLostBuffer(std::get<AudioConverterError>(entry));
            }
        }
        entries.clear();
    }
    backlog_.close();
}

// Of a buffer in the target format this makes a copy, in which what is no sound counts as silence.
void StreamingAsrManager::takeIn(const PcmBuffer& buffer) {
    try {
        if (!isReasonable(buffer))
            throw AudioConverterError(AudioConverterError::Case::failedToCreateBuffer);
        backlog_.append(audioConverter_.resampleBuffer(buffer));
    } catch (const std::exception& error) {
        reportLostBuffer(error);
    }
}

void StreamingAsrManager::reportLostBuffer(const std::exception& error) {
    logger_.error(std::string("Audio buffer processing error: ") + error.what());
    attemptErrorRecovery(StreamingAsrError::audioBufferProcessingFailed(error));
}

} // namespace VarnelSpeech
