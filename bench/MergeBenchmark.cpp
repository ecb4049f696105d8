// Merging the windows of recordings of 1 to 8 hours: the time against the number of windows, with the straight line
// that fits best. Prints the slope and R².
#include "VarnelSpeech/Asr/ChunkMerger.h"
#include "VarnelSpeech/Asr/ChunkProcessor.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

using namespace VarnelSpeech;

namespace {

constexpr int sampleRate = 16000;
constexpr int strideFrames = 162;
constexpr int windowFrames = 187;
constexpr int repeats = 9;

// Speech of about 4 tokens a second. Two windows that hear the same differ in a frame here and there, lose one token
// in twenty, and mistake one in twenty.
std::vector<std::vector<TokenWindow>> makeWindows(int count) {
    std::mt19937 random(7);
    std::vector<std::vector<TokenWindow>> windows(static_cast<std::size_t>(count));
    for (int window = 0; window < count; ++window) {
        for (int frame = 0; frame < windowFrames; frame += 3) {
            const int global = window * strideFrames + frame;
            const auto fate = static_cast<unsigned>(random() % 20);
            if (fate == 0) {
                continue;
            }
            const int id = fate == 1 ? 9000 : static_cast<int>(static_cast<unsigned>(global / 3) * 2654435761U % 1000);
            windows[static_cast<std::size_t>(window)].push_back({id, global + static_cast<int>(random() % 2), 0.9F});
        }
    }
    return windows;
}

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double mergeSeconds(const std::vector<std::vector<TokenWindow>>& windows, std::size_t& tokens) {
    const double start = processorSeconds();
    ChunkMerger merger(ChunkProcessor::overlapSeconds, sampleRate);
    for (const auto& window : windows) {
        merger.mergeChunks(window);
    }
    tokens = merger.sortedTokens().size();
    return processorSeconds() - start;
}

struct Line {
    double slope = 0;
    double intercept = 0;
    double rSquared = 0;
};

Line fit(const std::vector<double>& x, const std::vector<double>& y) {
    const double n = static_cast<double>(x.size());
    double sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        sx += x[i];
        sy += y[i];
        sxx += x[i] * x[i];
        sxy += x[i] * y[i];
        syy += y[i] * y[i];
    }
    const double covariance = n * sxy - sx * sy;
    const double slope = covariance / (n * sxx - sx * sx);
    return {slope, (sy - slope * sx) / n, covariance * covariance / ((n * sxx - sx * sx) * (n * syy - sy * sy))};
}

} // namespace

int main() {
    std::printf("mergeChunks over a whole recording, median of %d (processor time)\n", repeats);
    std::printf("%6s %9s %9s %11s %13s\n", "hours", "windows", "tokens", "time ms", "us a window");
    std::vector<double> counts;
    std::vector<double> times;
    for (int hours = 1; hours <= 8; ++hours) {
        const double samples = 3600.0 * hours * sampleRate;
        const int count = static_cast<int>(samples / static_cast<double>(ChunkProcessor::stride())) + 1;
        const auto windows = makeWindows(count);
        std::size_t tokens = 0;
        std::vector<double> measured;
        for (int repeat = 0; repeat < repeats; ++repeat) {
            measured.push_back(mergeSeconds(windows, tokens));
        }
        std::nth_element(measured.begin(), measured.begin() + repeats / 2, measured.end());
        const double seconds = measured[repeats / 2];
        counts.push_back(count);
        times.push_back(seconds);
        std::printf("%6d %9d %9zu %11.3f %13.3f\n", hours, count, tokens, seconds * 1e3, seconds * 1e6 / count);
    }
    const Line line = fit(counts, times);
    std::printf("fit: %.3f us a window, intercept %.3f ms, R^2 = %.4f\n", line.slope * 1e6, line.intercept * 1e3,
                line.rSquared);
    return line.rSquared > 0 ? 0 : 1;
}
