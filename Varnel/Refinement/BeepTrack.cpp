#include "Varnel/Refinement/BeepTrack.h"

#include "Varnel/Platform/WholeFile.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace Varnel {

namespace {

constexpr double beepSeconds = 0.18;
constexpr double beepFrequency = 440; // Hz
constexpr double beepLevel = 2621.36; // about 8% of full scale
constexpr int fileSampleRate = 16000; // Hz
constexpr std::int64_t headerBytes = 44;
constexpr std::int64_t blockSamples = std::int64_t{1} << 16;

// The samples where each beep begins, in the order of the list; those that cannot sound are left out.
std::vector<std::int64_t> firstSamples(std::int64_t sampleCount, int sampleRate, const std::vector<double>& beepTimes) {
    std::vector<std::int64_t> result;
    for (const double time : beepTimes) {
        const double first = std::max(0.0, std::floor(time * sampleRate));
        if (!std::isnan(time) && first < static_cast<double>(sampleCount))
            result.push_back(static_cast<std::int64_t>(first));
    }
    return result;
}

std::int16_t beepSample(std::int64_t index, int sampleRate) {
    const double seconds = static_cast<double>(index) / sampleRate;
    const double envelope = std::sin(std::numbers::pi * seconds / beepSeconds);
    const double value = std::sin(2 * std::numbers::pi * beepFrequency * seconds) * envelope * beepLevel;
    return static_cast<std::int16_t>(std::clamp(value, -32768.0, 32767.0));
}

// Sounds the part of a beep that lies in a block; `offset` is the beep's first sample, counted from the block's.
void sound(std::span<std::int16_t> block, std::int64_t offset, int sampleRate) {
    const auto length = static_cast<std::int64_t>(std::floor(beepSeconds * sampleRate));
    const std::int64_t end = std::min(static_cast<std::int64_t>(block.size()), offset + length);
    for (std::int64_t n = std::max<std::int64_t>(0, offset); n < end; ++n)
        block[static_cast<std::size_t>(n)] = beepSample(n - offset, sampleRate);
}

QByteArray header(std::uint32_t dataBytes) {
    QByteArray bytes;
    const auto append = [&bytes](auto value) {
        value = qToLittleEndian(value);
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    bytes.append("RIFF");
    append(dataBytes + 36);
    bytes.append("WAVEfmt ");
    append(std::uint32_t{16});
    append(std::uint16_t{1}); // PCM
    append(std::uint16_t{1}); // channels
    append(std::uint32_t{fileSampleRate});
    append(std::uint32_t{fileSampleRate * 2}); // bytes a second
    append(std::uint16_t{2});                  // bytes a frame
    append(std::uint16_t{16});                 // bits
    bytes.append("data");
    append(dataBytes);
    return bytes;
}

// One block after the other, with the beeps that touch it in the order of the list.
void writeSamples(WholeFile& file, std::int64_t sampleCount, const std::vector<double>& beepTimes) {
    std::vector<std::pair<std::int64_t, std::int64_t>> beeps; // block, first sample
    for (const std::int64_t first : firstSamples(sampleCount, fileSampleRate, beepTimes)) {
        const std::int64_t block = first / blockSamples;
        beeps.emplace_back(block, first);
        beeps.emplace_back(block + 1, first); // it may reach into the next one
    }
    std::stable_sort(beeps.begin(), beeps.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    auto next = beeps.cbegin();
    std::vector<std::int16_t> samples;
    for (std::int64_t first = 0; first < sampleCount; first += blockSamples) {
        samples.assign(static_cast<std::size_t>(std::min(blockSamples, sampleCount - first)), 0);
        for (; next != beeps.cend() && next->first == first / blockSamples; ++next)
            sound(samples, next->second - first, fileSampleRate);
        qToLittleEndian<std::int16_t>(samples.data(), static_cast<qsizetype>(samples.size()), samples.data());
        file.write(reinterpret_cast<const char*>(samples.data()),
                   static_cast<qint64>(samples.size() * sizeof(std::int16_t)));
    }
}

std::int64_t sampleCountOf(double duration) {
    const double wanted = std::max(0.0, duration * fileSampleRate);
    constexpr std::int64_t largest = (std::int64_t{std::numeric_limits<std::uint32_t>::max()} + 8 - headerBytes) / 2;
    if (!(wanted < static_cast<double>(largest) + 1))
        throw std::runtime_error("the audio is too long for a WAV file");
    return static_cast<std::int64_t>(wanted);
}

} // namespace

std::vector<std::int16_t> beepSamples(std::int64_t sampleCount, int sampleRate, const std::vector<double>& beepTimes) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(std::max<std::int64_t>(0, sampleCount)), 0);
    for (const std::int64_t first : firstSamples(sampleCount, sampleRate, beepTimes))
        sound(samples, first, sampleRate);
    return samples;
}

void writeBeepWAV(const QString& path, double duration, const std::vector<double>& beepTimes) {
    try {
        const std::int64_t sampleCount = sampleCountOf(duration);
        WholeFile file(path);
        file.write(header(static_cast<std::uint32_t>(sampleCount * 2)));
        writeSamples(file, sampleCount, beepTimes);
        file.commit();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot write '" + path.toStdString() + "': " + error.what());
    }
}

} // namespace Varnel
