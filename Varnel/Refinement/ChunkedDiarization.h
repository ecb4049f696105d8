#pragma once

#include "Varnel/Refinement/SpeakerDiarization.h"
#include "VarnelSpeech/Diarizer/DiarizerManager.h"
#include "VarnelSpeech/Diarizer/DiarizerModels.h"

#include <functional>

namespace Varnel {

// The speech module's chunked diarizer as the transcription engine's. Speakers are numbered from 1 in each recording:
// who they are across recordings is told by their voices, not by the diarizer.
class ChunkedDiarization final : public SpeakerDiarization {
public:
    // Loads the diarizer's models; called by loadModels. The application gives the one that knows which model set is
    // in use. What it throws passes through.
    using Loader = std::function<VarnelSpeech::DiarizerModels()>;

    explicit ChunkedDiarization(Loader loader,
                                const VarnelSpeech::DiarizerConfig& config = VarnelSpeech::DiarizerConfig::standard);

    void loadModels() override;

    // Throws VarnelSpeech::Cancelled between chunks once `stop` is requested, and what DiarizerManager::diarize throws.
    VarnelSpeech::DiarizationResult diarize(std::span<const float> samples, int sampleRate, double startTime,
                                            std::stop_token stop, const Progress& progress = {}) override;

private:
    Loader loader_;
    VarnelSpeech::DiarizerManager manager_;
};

} // namespace Varnel
