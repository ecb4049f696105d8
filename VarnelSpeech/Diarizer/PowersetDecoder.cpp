#include "VarnelSpeech/Diarizer/PowersetDecoder.h"

#include "VarnelSpeech/Shared/ANEMemoryUtils.h"

#include <algorithm>
#include <array>

namespace VarnelSpeech::PowersetDecoder {

namespace {

constexpr std::size_t speakers = SpeakerActivity::speakerCount;

constexpr std::array<std::array<float, speakers>, 7> activeSpeakers{
    {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}, {1, 0, 1}, {0, 1, 1}}};

const std::array<float, speakers>& speakersOf(std::size_t classIndex) {
    return classIndex < activeSpeakers.size() ? activeSpeakers[classIndex] : activeSpeakers.front();
}

std::size_t indexOfMaximum(const float* row, std::size_t length) {
    return static_cast<std::size_t>(std::max_element(row, row + length) - row);
}

void decodeInto(MLMultiArray& buffer, const Scores& scores) {
    const std::int64_t rowStride = buffer.strides()[1];
    auto* row = buffer.data<float>();
    for (std::size_t frame = 0; frame < scores.frames; ++frame, row += rowStride) {
        const float* frameScores = scores.values + frame * scores.classes;
        std::copy_n(speakersOf(indexOfMaximum(frameScores, scores.classes)).begin(), speakers, row);
    }
}

SpeakerActivity copyOf(const MLMultiArray& buffer, std::size_t frames) {
    SpeakerActivity activity(frames);
    const std::int64_t rowStride = buffer.strides()[1];
    const auto* row = buffer.data<float>();
    for (std::size_t frame = 0; frame < frames; ++frame, row += rowStride)
        std::copy_n(row, speakers, activity.frame(frame).begin());
    return activity;
}

} // namespace

SpeakerActivity decode(const Scores& scores, const AlignedBuffer& buffer) {
    std::shared_ptr<MLMultiArray> decoded;
    try {
        decoded = buffer({1, static_cast<std::int64_t>(scores.frames), static_cast<std::int64_t>(speakers)});
    } catch (const ANEMemoryUtils::ANEMemoryError&) {
        return decodeScalar(scores);
    }
    decodeInto(*decoded, scores);
    return copyOf(*decoded, scores.frames);
}

SpeakerActivity decodeScalar(const Scores& scores) {
    SpeakerActivity activity(scores.frames);
    for (std::size_t frame = 0; frame < scores.frames && scores.classes > 0; ++frame) {
        const float* row = scores.values + frame * scores.classes;
        std::size_t best = 0;
        float bestScore = row[0];
        for (std::size_t index = 1; index < scores.classes; ++index) {
            if (row[index] > bestScore) {
                bestScore = row[index];
                best = index;
            }
        }
        const auto& active = speakersOf(best);
        std::copy(active.begin(), active.end(), activity.frame(frame).begin());
    }
    return activity;
}

} // namespace VarnelSpeech::PowersetDecoder
