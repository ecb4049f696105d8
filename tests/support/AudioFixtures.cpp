#include "support/AudioFixtures.h"

#include <sndfile.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numbers>
#include <random>
#include <stdexcept>

namespace VarnelSpeech::Testing {

namespace {

int sndfileFormat(FixtureFormat format) {
    switch (format) {
    case FixtureFormat::wavInt16:
        return SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    case FixtureFormat::wavInt24:
        return SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    case FixtureFormat::wavFloat:
        return SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    case FixtureFormat::wavDouble:
        return SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    case FixtureFormat::rf64Float:
        return SF_FORMAT_RF64 | SF_FORMAT_FLOAT;
    case FixtureFormat::flac:
        return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    case FixtureFormat::oggVorbis:
        return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    case FixtureFormat::oggOpus:
        return SF_FORMAT_OGG | SF_FORMAT_OPUS;
    case FixtureFormat::mp3:
        return SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    case FixtureFormat::aiff:
        return SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
    }
    throw std::runtime_error("no such fixture");
}

template <typename Integer>
void put(std::vector<std::byte>& bytes, Integer value) {
    for (std::size_t shift = 0; shift < 8 * sizeof(Integer); shift += 8)
        bytes.push_back(static_cast<std::byte>(static_cast<std::uint64_t>(value) >> shift & 0xFFU));
}

void put(std::vector<std::byte>& bytes, const char* tag) {
    for (; *tag != 0; ++tag)
        bytes.push_back(static_cast<std::byte>(*tag));
}

} // namespace

std::vector<float> tone(double frequency, double sampleRate, std::uint32_t channels, std::size_t frames) {
    std::vector<float> samples;
    samples.reserve(frames * channels);
    for (std::size_t frame = 0; frame < frames; ++frame)
        for (std::uint32_t channel = 0; channel < channels; ++channel)
            samples.push_back(static_cast<float>(
                0.5 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(frame) / sampleRate + channel)));
    return samples;
}

std::vector<float> noise(std::uint32_t seed, std::uint32_t channels, std::size_t frames) {
    std::minstd_rand generator(seed);
    std::vector<float> samples(frames * channels);
    for (float& sample : samples)
        sample = static_cast<float>(generator()) / static_cast<float>(std::minstd_rand::max()) - 0.5F;
    return samples;
}

void writeAudio(const std::filesystem::path& file, FixtureFormat format, int sampleRate, std::uint32_t channels,
                std::span<const float> samples) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = static_cast<int>(channels);
    info.format = sndfileFormat(format);
    SNDFILE* writer = sf_open(file.c_str(), SFM_WRITE, &info);
    if (writer == nullptr)
        throw std::runtime_error(std::string("libsndfile cannot write a fixture: ") + sf_strerror(nullptr));
    // Some encoders recurse over what they are given in one call.
    constexpr std::size_t block = 4096;
    const std::size_t frames = samples.size() / channels;
    std::size_t written = 0;
    while (written < frames) {
        const std::size_t count = std::min(block, frames - written);
        if (sf_writef_float(writer, samples.data() + written * channels, static_cast<sf_count_t>(count)) !=
            static_cast<sf_count_t>(count))
            break;
        written += count;
    }
    sf_close(writer);
    if (written != frames)
        throw std::runtime_error("libsndfile wrote a fixture only in part");
}

void runFFmpeg(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"ffmpeg", "-nostdin", "-loglevel", "error", "-y"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& argument : all)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t process = 0;
    if (posix_spawnp(&process, "ffmpeg", nullptr, nullptr, pointers.data(), environ) != 0)
        throw std::runtime_error("the ffmpeg program, which this test makes its files with, is not installed");
    int status = 0;
    if (waitpid(process, &status, 0) != process || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(
            "the ffmpeg program, which this test makes its files with, failed or is not installed");
}

std::vector<std::byte> WavBytes::bytes() const {
    const auto size = static_cast<std::uint32_t>(payload.size());
    std::vector<std::byte> result;
    put(result, "RIFF");
    put(result, riffSize != 0 ? riffSize : 36 + size);
    put(result, "WAVEfmt ");
    put(result, std::uint32_t{16});
    put(result, formatTag);
    put(result, channels);
    put(result, sampleRate);
    put(result, sampleRate * channels * bitsPerSample / 8);
    put(result, static_cast<std::uint16_t>(channels * bitsPerSample / 8));
    put(result, bitsPerSample);
    put(result, "data");
    put(result, dataSizeIsZero ? 0 : dataSize != 0 ? dataSize : size);
    result.insert(result.end(), payload.begin(), payload.end());
    return result;
}

std::vector<std::byte> bytesOf(std::span<const float> samples) {
    const auto bytes = std::as_bytes(samples);
    return {bytes.begin(), bytes.end()};
}

std::vector<std::byte> readBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

void writeBytes(const std::filesystem::path& file, std::span<const std::byte> bytes) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush())
        throw std::runtime_error("a fixture could not be written");
}

void writeText(const std::filesystem::path& file, const std::string& text) {
    writeBytes(file, std::as_bytes(std::span(text)));
}

} // namespace VarnelSpeech::Testing
