#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Which of the local speakers of one window is active in each of its frames: values 0.0 or 1.0. Local indices mean
// nothing outside the window. One flat buffer in the order [frame][speaker]; there is one window, so the batch has no
// dimension of its own.
class SpeakerActivity {
public:
    static constexpr std::size_t speakerCount = 3;
    static constexpr double secondsPerFrame = 0.016875; // from one frame to the next
    // Seconds that a frame hears. Frames are placed by their step alone.
    static constexpr double receptiveFieldSeconds = 0.0619375;

    explicit SpeakerActivity(std::size_t frames = 0) : values_(frames * speakerCount) {}

    std::size_t frameCount() const { return values_.size() / speakerCount; }

    std::span<const float, speakerCount> frame(std::size_t frame) const {
        return std::span<const float, speakerCount>(values_.data() + frame * speakerCount, speakerCount);
    }

    std::span<float, speakerCount> frame(std::size_t frame) {
        return std::span<float, speakerCount>(values_.data() + frame * speakerCount, speakerCount);
    }

    float at(std::size_t frame, std::size_t speaker) const { return values_[frame * speakerCount + speaker]; }

    // Active frames of one speaker.
    float total(std::size_t speaker) const {
        float sum = 0;
        for (std::size_t frame = 0; frame < frameCount(); ++frame)
            sum += at(frame, speaker);
        return sum;
    }

    bool operator==(const SpeakerActivity&) const = default;

private:
    std::vector<float> values_;
};

} // namespace VarnelSpeech
