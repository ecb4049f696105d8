#include "Varnel/Refinement/FileRecognition.h"

#include "VarnelSpeech/Shared/AudioConverter.h"
#include "VarnelSpeech/Shared/Cancelled.h"

#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace Varnel {

namespace {

// Passes the recogniser's progress stream on while it runs. The recogniser has a session only for audio of more than
// one window; the end of this object ends the session whatever happened.
class StreamedProgress {
public:
    StreamedProgress(VarnelSpeech::AsrManager& asr, const std::function<void(double)>& report)
        : asr_(asr), thread_([stream = asr.progressStream(), report] {
              try {
                  while (const std::optional<double> progress = stream->next())
                      report(*progress);
              } catch (...) { // how a transcription ends its caller hears from the transcription
              }
          }) {}

    ~StreamedProgress() {
        asr_.progressEmitter().finishSession();
        thread_.join();
    }

    StreamedProgress(const StreamedProgress&) = delete;
    StreamedProgress& operator=(const StreamedProgress&) = delete;

private:
    VarnelSpeech::AsrManager& asr_;
    std::thread thread_;
};

} // namespace

std::vector<float> readForModels(const std::filesystem::path& file, const std::function<void(double)>& report,
                                 const std::stop_token& stop) {
    try {
        return VarnelSpeech::AudioConverter().resampleAudioFile(file, report, stop);
    } catch (const std::exception&) {
        if (stop.stop_requested())
            throw VarnelSpeech::Cancelled();
        throw;
    }
}

VarnelSpeech::ASRResult recognise(VarnelSpeech::AsrManager& asr, std::span<const float> samples,
                                  const std::function<void(double)>& report, std::stop_token stop) {
    std::optional<StreamedProgress> progress;
    if (report && samples.size() > static_cast<std::size_t>(VarnelSpeech::ASRConstants::maxModelSamples))
        progress.emplace(asr, report);
    asr.setStopToken(std::move(stop));
    return asr.transcribe(samples, VarnelSpeech::AudioSource::microphone);
}

} // namespace Varnel
