// The whole job, from an audio file to speaker-attributed segments, on the starter models: how many times faster than
// real time, and how much of the time is our own, that is, neither the runtime's nor spent on reading the file.

#include "Varnel/Refinement/RunToEnd.h"
#include "Varnel/Refinement/TranscriptionEngine.h"
#include "VarnelSpeech/Shared/AudioConverter.h"
#include "VarnelSpeech/Shared/ModelNames.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

// Adds up the time of every prediction.
class TimedModel final : public VarnelSpeech::MLModel {
public:
    TimedModel(std::shared_ptr<VarnelSpeech::MLModel> model, std::atomic<Clock::rep>& total)
        : model_(std::move(model)), total_(total) {}

    const VarnelSpeech::MLModelDescription& modelDescription() const override { return model_->modelDescription(); }

    std::shared_ptr<const VarnelSpeech::MLFeatureProvider>
    prediction(const VarnelSpeech::MLFeatureProvider& input,
               const VarnelSpeech::MLPredictionOptions& options) override {
        const auto start = Clock::now();
        auto result = model_->prediction(input, options);
        total_ += (Clock::now() - start).count();
        return result;
    }

private:
    std::shared_ptr<VarnelSpeech::MLModel> model_;
    std::atomic<Clock::rep>& total_;
};

// The sound of `source` again and again, as 16-bit WAV of at least so many seconds.
void writeLooped(const std::string& source, const std::string& target, double atLeastSeconds) {
    SF_INFO info{};
    SNDFILE* input = sf_open(source.c_str(), SFM_READ, &info);
    if (input == nullptr)
        throw std::runtime_error("cannot read " + source);
    std::vector<short> samples(static_cast<std::size_t>(info.frames) * static_cast<std::size_t>(info.channels));
    sf_readf_short(input, samples.data(), info.frames);
    sf_close(input);
    SF_INFO outputInfo{};
    outputInfo.samplerate = info.samplerate;
    outputInfo.channels = info.channels;
    outputInfo.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* output = sf_open(target.c_str(), SFM_WRITE, &outputInfo);
    if (output == nullptr)
        throw std::runtime_error("cannot write " + target);
    const double length = static_cast<double>(info.frames) / info.samplerate;
    for (double written = 0; written < atLeastSeconds; written += length)
        sf_writef_short(output, samples.data(), info.frames);
    sf_close(output);
}

double medianReadingTime(const std::string& file) {
    std::vector<double> times;
    for (int i = 0; i < 3; ++i) {
        const auto start = Clock::now();
        const auto samples = VarnelSpeech::AudioConverter().resampleAudioFile(file);
        times.push_back(seconds(Clock::now() - start));
    }
    std::sort(times.begin(), times.end());
    return times[1];
}

} // namespace

// Usage: bench_whole_job [minutes of audio, 30 unless told otherwise]
int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const double minutes = argc > 1 ? std::atof(argv[1]) : 30;
    const QTemporaryDir folder;
    const std::string file = folder.filePath(QStringLiteral("conversation.wav")).toStdString();
    const std::string root = VARNEL_SOURCE_DIR;
    writeLooped(root + "/samples/conversation.flac", file, minutes * 60);

    std::atomic<Clock::rep> runtime = 0;
    Varnel::TranscriptionEngine engine([&] {
        const auto models =
            root + "/models/starter/" + std::string(VarnelSpeech::folderName(VarnelSpeech::Repo::parakeet));
        auto loaded = VarnelSpeech::AsrModels::load(models, {}, VarnelSpeech::AsrModelVersion::v3,
                                                    VarnelSpeech::DownloadUtils::Fetching::never);
        for (auto* model : {&loaded.preprocessor, &loaded.encoder, &loaded.decoder, &loaded.joint})
            *model = std::make_shared<TimedModel>(*model, runtime);
        return loaded;
    });
    Varnel::runToEnd(engine.ensureWarm());
    const double reading = medianReadingTime(file);

    runtime = 0;
    const auto start = Clock::now();
    const Varnel::Output output = Varnel::runToEnd(engine.transcribe(file));
    const double whole = seconds(Clock::now() - start);
    const double inRuntime = seconds(Clock::duration(runtime.load()));
    const double own = whole - inRuntime - reading;
    std::printf("whole job: %.1f s of audio in %.2f s, %.1f times real time\n", output.duration, whole,
                output.duration / whole);
    std::printf("  inference runtime          %8.2f s  %5.1f%%\n", inRuntime, 100 * inRuntime / whole);
    std::printf("  reading and resampling     %8.2f s  %5.1f%%  (measured apart, median of 3)\n", reading,
                100 * reading / whole);
    std::printf("  everything else            %8.2f s  %5.1f%%  (goal: below 3%%)\n", own, 100 * own / whole);
    return output.segments.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
