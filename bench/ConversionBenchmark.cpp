// One hour of 48 kHz stereo WAV to 16 kHz mono: AudioConverter against a bare loop over the same two libraries, at the
// same quality and with the same mix-down. Prints the best times, their ratio, and the peak memory beyond the result.
#include "VarnelSpeech/Shared/AudioConverter.h"

#include <sndfile.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int sourceRate = 48000;
constexpr int targetRate = 16000;
constexpr std::size_t blockFrames = 8192;
constexpr int runs = 7;

// Tones and noise, 16-bit integers.
void writeSource(const std::filesystem::path& file, std::size_t seconds) {
    SF_INFO info{};
    info.samplerate = sourceRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* writer = sf_open(file.c_str(), SFM_WRITE, &info);
    if (writer == nullptr)
        std::exit(1);
    std::minstd_rand noise(1);
    std::vector<float> second(2 * sourceRate);
    for (std::size_t index = 0; index < seconds; ++index) {
        const double frequency = 100.0 + static_cast<double>(index % 50) * 100;
        for (std::size_t frame = 0; frame < sourceRate; ++frame) {
            const double tone =
                0.3 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(frame) / sourceRate);
            for (std::size_t channel = 0; channel < 2; ++channel)
                second[2 * frame + channel] =
                    static_cast<float>(tone + 0.2 * (static_cast<double>(noise()) / std::minstd_rand::max() - 0.5));
        }
        sf_writef_float(writer, second.data(), sourceRate);
    }
    sf_close(writer);
}

std::vector<float> convertBare(const std::filesystem::path& file) {
    SF_INFO info{};
    SNDFILE* reader = sf_open(file.c_str(), SFM_READ, &info);
    const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_t resampler = soxr_create(sourceRate, targetRate, 1, nullptr, &samples, &quality, &oneThread);
    std::vector<float> result;
    result.reserve(static_cast<std::size_t>(info.frames) / 3 + 1);
    std::vector<float> stereo(2 * blockFrames);
    std::vector<float> mono(blockFrames);
    std::vector<float> output(blockFrames);
    std::size_t written = 1;
    for (bool ended = false; !ended || written > 0;) {
        const auto frames = static_cast<std::size_t>(
            ended ? 0 : sf_readf_float(reader, stereo.data(), static_cast<sf_count_t>(blockFrames)));
        for (std::size_t frame = 0; frame < frames; ++frame)
            mono[frame] = (stereo[2 * frame] + stereo[2 * frame + 1]) * 0.5F;
        ended = frames == 0;
        soxr_process(resampler, ended ? nullptr : mono.data(), frames, nullptr, output.data(), output.size(), &written);
        result.insert(result.end(), output.begin(), output.begin() + static_cast<std::ptrdiff_t>(written));
    }
    soxr_delete(resampler);
    sf_close(reader);
    return result;
}

// Processor time: both ways run on one thread and read a cached file, and a busy machine does not change it much.
double seconds(const std::function<void()>& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double begin = now();
    work();
    return now() - begin;
}

// Of this process: "VmHWM" (peak) or "VmRSS" (now), in MiB.
double memory(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == key + ":") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes / 1024;
        }
    return 0;
}

double peakMemory(const std::function<void()>& work) {
    std::ofstream("/proc/self/clear_refs") << 5; // the peak begins anew
    const double before = memory("VmRSS");
    work();
    return memory("VmHWM") - before;
}

} // namespace

int main(int argc, char** argv) {
    const std::size_t length = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 3600;
    const auto file = std::filesystem::temp_directory_path() /
                      ("varnel-conversion-" + std::to_string(std::random_device{}()) + ".wav");
    writeSource(file, length);
    const VarnelSpeech::AudioConverter converter;

    std::vector<float> result;
    const double peak = peakMemory([&] { result = converter.resampleAudioFile(file); });
    const double resultMemory = static_cast<double>(result.size() * sizeof(float)) / (1024 * 1024);
    const bool isSame = result == convertBare(file);
    result = {};

    double ours = INFINITY;
    double bare = INFINITY;
    for (int run = 0; run < runs; ++run) {
        bare = std::min(bare, seconds([&] { convertBare(file); }));
        ours = std::min(ours, seconds([&] { converter.resampleAudioFile(file); }));
    }
    std::filesystem::remove(file);

    const auto duration = static_cast<double>(length);
    std::printf("%zu s of 48 kHz stereo to 16 kHz mono, best of %d interleaved runs, processor time\n", length, runs);
    std::printf("  %-28s %8.3f s  %8.0f x real time\n", "bare libsndfile + soxr", bare, duration / bare);
    std::printf("  %-28s %8.3f s  %8.0f x real time\n", "AudioConverter", ours, duration / ours);
    std::printf("  ratio %.3f (at most 1.05)\n", ours / bare);
    std::printf("  peak memory: result %.1f MiB + %.1f MiB (at most 32)\n", resultMemory, peak - resultMemory);
    std::printf("  samples %s the bare loop's\n", isSame ? "are" : "DIFFER FROM");
    return isSame ? 0 : 1;
}
