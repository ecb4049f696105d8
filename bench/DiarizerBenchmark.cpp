// The chunked diarizer on the starter models and the sample conversation:
//   - how much of its time is its own, and not the runtime's;
//   - how long recognition and diarization take together, against the sum of each alone, on one thread each.
// Usage: bench_diarizer [minutes of audio, 5 unless told otherwise] [folder with the models]

#include "VarnelSpeech/Asr/AsrManager.h"
#include "VarnelSpeech/Diarizer/DiarizerManager.h"
#include "VarnelSpeech/Shared/AudioConverter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace VarnelSpeech;

namespace {

constexpr int rounds = 5;

using Clock = std::function<double()>; // seconds

double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Of the calling thread alone: what else runs on the machine does not count.
double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double timed(const std::function<void()>& work) {
    const double start = wallSeconds();
    work();
    return wallSeconds() - start;
}

// Adds up the time of every prediction.
class TimedModel final : public MLModel {
public:
    TimedModel(std::shared_ptr<MLModel> model, const Clock& clock, double& total)
        : model_(std::move(model)), clock_(clock), total_(total) {}

    const MLModelDescription& modelDescription() const override { return model_->modelDescription(); }

    std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider& input,
                                                        const MLPredictionOptions& options) override {
        const double start = clock_();
        auto result = model_->prediction(input, options);
        total_ += clock_() - start;
        return result;
    }

private:
    std::shared_ptr<MLModel> model_;
    const Clock& clock_;
    double& total_;
};

std::vector<float> looped(const std::string& file, double seconds) {
    const std::vector<float> once = AudioConverter().resampleAudioFile(file);
    std::vector<float> samples;
    while (static_cast<double>(samples.size()) < seconds * 16000)
        samples.insert(samples.end(), once.begin(), once.end());
    return samples;
}

DiarizerModels diarizerModels(const std::filesystem::path& models, const MLModelConfiguration& configuration) {
    return DiarizerModels::load(ModelPaths::inFolder(models / folderName(Repo::diarizer)), configuration);
}

void ownShare(const DiarizerModels& models, const std::vector<float>& samples, const Clock& clock) {
    double inRuntime = 0;
    DiarizerManager manager;
    manager.initialize({std::make_shared<TimedModel>(models.segmentationModel, clock, inRuntime),
                        std::make_shared<TimedModel>(models.embeddingModel, clock, inRuntime), 0});
    std::vector<double> shares;
    std::vector<double> wholes;
    std::size_t segments = 0;
    for (int round = 0; round < rounds; ++round) {
        manager.speakerManager().reset();
        inRuntime = 0;
        const double start = clock();
        segments = manager.diarize(samples).segments.size();
        const double whole = clock() - start;
        wholes.push_back(whole);
        shares.push_back((whole - inRuntime) / whole);
    }
    const double seconds = static_cast<double>(samples.size()) / 16000;
    std::printf("    %.2f s, %.0f times real time; %zu segments, %zu speakers\n", median(wholes),
                seconds / median(wholes), segments, manager.speakerManager().speakerCount());
    std::printf("    outside the runtime %.2f%% (goal: below 3%%)\n", 100 * median(shares));
}

void together(const std::filesystem::path& models, const std::vector<float>& samples,
              const MLModelConfiguration& oneThread) {
    AsrManager recogniser;
    recogniser.initialize(AsrModels::load(models / folderName(Repo::parakeet), oneThread, AsrModelVersion::v3,
                                          DownloadUtils::Fetching::never));
    DiarizerManager diarizer;
    diarizer.initialize(diarizerModels(models, oneThread));
    const auto recognise = [&] { recogniser.transcribe(samples); };
    const auto diarize = [&] {
        diarizer.speakerManager().reset();
        diarizer.diarize(samples);
    };
    const auto both = [&] {
        std::thread second(diarize);
        recognise();
        second.join();
    };
    std::vector<double> ratios;
    std::vector<double> recognising;
    std::vector<double> diarizing;
    std::vector<double> joint;
    for (int round = 0; round < rounds; ++round) {
        recognising.push_back(timed(recognise));
        diarizing.push_back(timed(diarize));
        joint.push_back(timed(both));
        ratios.push_back(joint.back() / (recognising.back() + diarizing.back()));
    }
    std::printf("recognition %.2f s, diarization %.2f s, together %.2f s\n", median(recognising), median(diarizing),
                median(joint));
    std::printf("    together / sum of each alone: %.2f (goal: at most 0.70 on two cores)\n", median(ratios));
}

void run(double minutes, const std::filesystem::path& models) {
    const auto samples = looped(std::string(VARNEL_SOURCE_DIR) + "/samples/conversation.flac", minutes * 60);
    std::printf("%.0f s of audio, medians of %d rounds\n", static_cast<double>(samples.size()) / 16000, rounds);
    const MLModelConfiguration oneThread{MLComputeUnits::cpuOnly, false, MLThreading::callingThread};
    std::printf("diarization on one thread, processor time\n");
    ownShare(diarizerModels(models, oneThread), samples, processorSeconds);
    std::printf("diarization as the application runs it, wall time\n");
    ownShare(diarizerModels(models, DiarizerModels::defaultConfiguration()), samples, wallSeconds);
    together(models, samples, oneThread);
}

} // namespace

int main(int argc, char** argv) {
    try {
        run(argc > 1 ? std::atof(argv[1]) : 5, argc > 2 ? argv[2] : std::string(VARNEL_SOURCE_DIR) + "/models/starter");
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_diarizer: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
