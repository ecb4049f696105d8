#include "Varnel/Refinement/ChunkedDiarization.h"

#include <utility>

namespace Varnel {

ChunkedDiarization::ChunkedDiarization(Loader loader, const VarnelSpeech::DiarizerConfig& config)
    : loader_(std::move(loader)), manager_(config) {}

void ChunkedDiarization::loadModels() {
    manager_.initialize(loader_());
}

VarnelSpeech::DiarizationResult ChunkedDiarization::diarize(std::span<const float> samples, int sampleRate,
                                                            double startTime, std::stop_token stop,
                                                            const Progress& progress) {
    manager_.speakerManager().reset();
    return manager_.diarize(samples, sampleRate, startTime, stop, progress);
}

} // namespace Varnel
