#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

// Audio files and samples made while the tests run.
namespace VarnelSpeech::Testing {

// Interleaved samples of a tone that differs from channel to channel, of amplitude 0.5.
std::vector<float> tone(double frequency, double sampleRate, std::uint32_t channels, std::size_t frames);

// Interleaved noise from -0.5 to 0.5, the same for the same seed.
std::vector<float> noise(std::uint32_t seed, std::uint32_t channels, std::size_t frames);

enum class FixtureFormat { wavInt16, wavInt24, wavFloat, wavDouble, rf64Float, flac, oggVorbis, oggOpus, mp3, aiff };

// Writes samples through libsndfile; throws std::runtime_error.
void writeAudio(const std::filesystem::path& file, FixtureFormat format, int sampleRate, std::uint32_t channels,
                std::span<const float> samples);

// Runs the ffmpeg program, which the project's set-up installs; throws std::runtime_error when it is missing or fails.
void runFFmpeg(const std::vector<std::string>& arguments);

// A WAV file as the test wants it, right or wrong.
struct WavBytes {
    std::uint16_t formatTag = 3; // 1: integers, 3: floats
    std::uint16_t channels = 1;
    std::uint32_t sampleRate = 16000;
    std::uint16_t bitsPerSample = 32;
    std::uint32_t riffSize = 0; // 0: the right one
    std::uint32_t dataSize = 0; // 0: the right one
    bool dataSizeIsZero = false;
    std::vector<std::byte> payload{};

    std::vector<std::byte> bytes() const;
};

std::vector<std::byte> bytesOf(std::span<const float> samples);
std::vector<std::byte> readBytes(const std::filesystem::path& file);
void writeBytes(const std::filesystem::path& file, std::span<const std::byte> bytes);
void writeText(const std::filesystem::path& file, const std::string& text);

} // namespace VarnelSpeech::Testing
