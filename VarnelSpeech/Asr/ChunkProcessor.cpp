#include "VarnelSpeech/Asr/ChunkProcessor.h"

#include "VarnelSpeech/Asr/AsrManager.h"
#include "VarnelSpeech/Asr/ChunkMerger.h"

#include <algorithm>

namespace VarnelSpeech {

namespace {

constexpr auto frameSamples = static_cast<std::size_t>(ASRConstants::samplesPerEncoderFrame);
constexpr auto modelSamples = static_cast<std::size_t>(ASRConstants::maxModelSamples);

constexpr std::size_t wholeFrames(std::size_t samples) {
    return samples / frameSamples * frameSamples;
}

} // namespace

std::size_t ChunkProcessor::overlapSamples() {
    const auto wanted = static_cast<std::size_t>(overlapSeconds * sampleRate);
    return wholeFrames(std::min(wanted, windowSamples / 2));
}

std::size_t ChunkProcessor::stride() {
    return wholeFrames(std::max(windowSamples - overlapSamples(), frameSamples));
}

ASRResult ChunkProcessor::process(AsrManager& manager, std::chrono::steady_clock::time_point startTime,
                                  const ProgressHandler& progressHandler) const {
    TdtDecoderState state;
    std::vector<float> modelInput(modelSamples);
    std::vector<std::vector<TokenWindow>> chunkOutputs;
    for (std::size_t chunkStart = 0; chunkStart < audioSamples_.size(); chunkStart += stride()) {
        manager.throwIfCancelled();
        const Window chunk = window(chunkStart);
        state.reset();
        chunkOutputs.push_back(transcribe(manager, chunk, state, modelInput));
        if (chunk.isLast) {
            break;
        }
        if (progressHandler) {
            const double share = static_cast<double>(chunk.end) / static_cast<double>(audioSamples_.size());
            progressHandler(std::clamp(share, 0.0, 1.0));
        }
    }

    ChunkMerger merger(overlapSeconds, sampleRate);
    for (const std::vector<TokenWindow>& output : chunkOutputs) {
        merger.mergeChunks(output);
    }
    std::vector<int> tokenIds;
    std::vector<int> timestamps;
    std::vector<float> confidences;
    for (const TokenWindow& token : merger.sortedTokens()) {
        tokenIds.push_back(token.token);
        timestamps.push_back(token.timestamp);
        confidences.push_back(token.confidence);
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - startTime;
    return manager.processTranscriptionResult(tokenIds, timestamps, confidences, {}, audioSamples_.size(),
                                              elapsed.count());
}

ChunkProcessor::Window ChunkProcessor::window(std::size_t start) const {
    const std::size_t candidateEnd = start + windowSamples;
    return {start, std::min(candidateEnd, audioSamples_.size()), candidateEnd >= audioSamples_.size()};
}

std::vector<TokenWindow> ChunkProcessor::transcribe(AsrManager& manager, const Window& window, TdtDecoderState& state,
                                                    std::vector<float>& modelInput) const {
    const std::span<const float> slice = audioSamples_.subspan(window.start, window.end - window.start);
    const auto padding = std::copy(slice.begin(), slice.end(), modelInput.begin());
    std::fill(padding, modelInput.end(), 0.0F);

    const auto length = static_cast<int>(slice.size());
    const auto actualFrames = static_cast<int>((slice.size() + frameSamples - 1) / frameSamples);
    const auto globalFrameOffset = static_cast<int>(window.start / frameSamples);
    const auto [hypothesis, encoderSequenceLength] = manager.executeMLInferenceWithTimings(
        modelInput, length, actualFrames, state, 0, window.isLast, globalFrameOffset);
    if (hypothesis.tokenIds.empty() || encoderSequenceLength == 0) {
        return {};
    }
    return zipTokenWindows(hypothesis);
}

} // namespace VarnelSpeech
