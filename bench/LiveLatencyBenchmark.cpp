// Live latency: from the hand-over of the buffer that completes a window to the window's update, against the bare
// model calls of the same window. Usage: bench_live_latency [MODELS] [AUDIO]
//
// The audio comes as a microphone delivers it, in stereo buffers of 4096 frames at 48 kHz, and with rests between them
// that are long enough for the intake to fall idle, as it does in a recording. The bare calls are the runtime's
// predictions for that window, timed inside the very same window, so that both see the same machine. A plain
// transcribeStreamingChunk per window, on the calling thread, stands beside them.
#include "VarnelSpeech/Asr/StreamingAsrManager.h"
#include "VarnelSpeech/Shared/AudioConverter.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

using namespace VarnelSpeech;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t blockFrames = 4096;
constexpr double captureRate = 48000;
constexpr auto rest = std::chrono::milliseconds(5);

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// Adds up the time of every prediction.
class TimedModel final : public MLModel {
public:
    TimedModel(std::shared_ptr<MLModel> model, std::atomic<Clock::rep>& total)
        : model_(std::move(model)), total_(total) {}

    const MLModelDescription& modelDescription() const override { return model_->modelDescription(); }

    std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider& input,
                                                        const MLPredictionOptions& options) override {
        const auto start = Clock::now();
        auto result = model_->prediction(input, options);
        total_ += (Clock::now() - start).count();
        return result;
    }

private:
    std::shared_ptr<MLModel> model_;
    std::atomic<Clock::rep>& total_;
};

AsrModels timed(AsrModels models, std::atomic<Clock::rep>& total) {
    for (auto* model : {&models.preprocessor, &models.encoder, &models.decoder, &models.joint})
        *model = std::make_shared<TimedModel>(*model, total);
    return models;
}

// Both channels alike.
std::vector<float> stereo(const std::vector<float>& mono) {
    std::vector<float> samples;
    samples.reserve(mono.size() * 2);
    for (const float sample : mono)
        samples.insert(samples.end(), {sample, sample});
    return samples;
}

PcmView block(const std::vector<float>& audio, std::size_t index) {
    const auto samples = std::span(audio).subspan(index * blockFrames * 2, blockFrames * 2);
    return PcmView::of(samples, captureRate, 2);
}

struct Window {
    double latency = 0; // ms
    double models = 0;
    double bareCall = 0;
};

// What the recogniser thread reports.
class Arrival {
public:
    StreamingAsrManager::UpdateSink sink() {
        return [this](const StreamingTranscriptionUpdate&) {
            const auto now = Clock::now();
            const std::lock_guard lock(mutex_);
            time_ = now;
            ++count_;
            changed_.notify_all();
        };
    }

    Clock::time_point waitFor(int count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ >= count; });
        return time_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Clock::time_point time_;
    int count_ = 0;
};

std::vector<Window> measureStream(const AsrModels& models, const std::vector<float>& audio) {
    std::atomic<Clock::rep> modelTime = 0;
    Arrival arrival;
    std::vector<Window> windows;
    StreamingAsrManager stream(StreamingAsrConfig::liveCaptions());
    stream.transcriptionUpdates(arrival.sink());
    stream.start(timed(models, modelTime));
    // The same cut as the stream's own tells which buffer completes a window.
    StreamingWindows cut(StreamingAsrConfig::liveCaptions());
    AsrManager bare;
    bare.initialize(models);
    bare.resetDecoderState(AudioSource::microphone);
    std::vector<int> tokens;
    const AudioConverter converter;
    for (std::size_t index = 0; (index + 1) * blockFrames * 2 <= audio.size(); ++index) {
        PcmBuffer buffer({captureRate, 2, AudioSampleType::float32, true}, blockFrames);
        std::copy_n(audio.begin() + static_cast<std::ptrdiff_t>(index * blockFrames * 2), blockFrames * 2,
                    buffer.floatPlane(0).begin());
        cut.append(converter.resampleBuffer(buffer));
        std::this_thread::sleep_for(rest);
        modelTime = 0;
        const auto handedOver = Clock::now();
        stream.streamAudio(block(audio, index));
        const auto window = cut.next();
        if (!window)
            continue;
        Window result;
        result.latency = milliseconds(arrival.waitFor(static_cast<int>(windows.size()) + 1) - handedOver);
        result.models = milliseconds(Clock::duration(modelTime.load()));
        const auto started = Clock::now();
        const auto chunk = bare.transcribeStreamingChunk(window->samples, AudioSource::microphone, tokens);
        result.bareCall = milliseconds(Clock::now() - started);
        tokens.insert(tokens.end(), chunk.tokens.begin(), chunk.tokens.end());
        cut.advance(*window);
        windows.push_back(result);
    }
    stream.cancel();
    return windows;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <typename Value>
double medianOf(const std::vector<Window>& windows, Value value) {
    std::vector<double> values;
    for (const Window& window : windows)
        values.push_back(value(window));
    return median(std::move(values));
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::filesystem::path models =
            argc > 1 ? argv[1] : VARNEL_SOURCE_DIR "/models/starter/parakeet-tdt-0.6b-v3-coreml";
        const std::filesystem::path file = argc > 2 ? argv[2] : VARNEL_SOURCE_DIR "/samples/conversation.flac";
        const AsrModels loaded = AsrModels::load(models, {}, AsrModelVersion::v3, DownloadUtils::Fetching::never);
        const std::vector<float> audio = stereo(AudioConverter({captureRate}).resampleAudioFile(file));
        measureStream(loaded, audio); // warms everything up
        const std::vector<Window> windows = measureStream(loaded, audio);
        if (windows.empty())
            throw std::runtime_error("the audio is shorter than a window");
        std::printf("%zu windows of %.1f s: last sample to update %.2f ms, bare model calls %.2f ms (medians)\n",
                    windows.size(), 4.5, medianOf(windows, [](const Window& w) { return w.latency; }),
                    medianOf(windows, [](const Window& w) { return w.models; }));
        std::printf("ratio to the bare model calls of the same window: %.4f (median; goal 1.1)\n",
                    medianOf(windows, [](const Window& w) { return w.latency / w.models; }));
        std::printf("ratio to transcribeStreamingChunk on the calling thread: %.4f (median)\n",
                    medianOf(windows, [](const Window& w) { return w.latency / w.bareCall; }));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_live_latency: %s\n", error.what());
        return 1;
    }
}
