#include "VarnelSpeech/Shared/AudioFile.h"

#include "VarnelSpeech/Shared/AudioFileDecoder.h"
#include "VarnelSpeech/Shared/WavHeader.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace VarnelSpeech {

namespace {

using Case = AudioFileError::Case;

constexpr double lowestRate = 1000;
constexpr double highestRate = 1000000;
constexpr std::uint32_t mostChannels = 1024;

AudioFileProblem systemProblem(int code) {
    switch (code) {
    case ENOENT:
    case ENOTDIR:
        return {Case::noSuchFile, {}};
    case EACCES:
    case EPERM:
        return {Case::permissionDenied, {}};
    default:
        return {Case::readFailed, std::generic_category().message(code)};
    }
}

void checkFormat(double sampleRate, std::uint32_t channels) {
    if (channels == 0 || channels > mostChannels)
        throw AudioFileProblem{Case::badChannelCount, fmt::format("{} channel{}", channels, channels == 1 ? "" : "s")};
    if (!(sampleRate >= lowestRate && sampleRate <= highestRate))
        throw AudioFileProblem{Case::badSampleRate, fmt::format("sample rate {} Hz", sampleRate)};
}

// MPEG audio (a frame, or a tag before one) and Ogg. libsndfile reads these too, but its MPEG decoder writes what it
// finds amiss to standard error, past everybody, and it leaks memory with each Ogg file that it refuses.
bool belongsToFFmpeg(int descriptor) {
    std::array<unsigned char, 4> bytes{};
    if (pread(descriptor, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        return false;
    const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const bool isMpegFrame = bytes[0] == 0xFF && (bytes[1] & 0xE0) == 0xE0;
    return isMpegFrame || head.starts_with("ID3") || head == "OggS";
}

std::unique_ptr<AudioFileDecoder> openDecoder(int descriptor, const std::stop_token& stop) {
    if (belongsToFFmpeg(descriptor))
        return openFFmpegDecoder(descriptor, stop);
    AudioFileProblem sndfileProblem;
    try {
        return openSndfileDecoder(descriptor);
    } catch (const AudioFileProblem& problem) {
        sndfileProblem = problem;
    }
    try {
        return openFFmpegDecoder(descriptor, stop);
    } catch (const AudioFileProblem& problem) {
        if (problem.error == Case::stopped)
            throw;
        if (const auto header = readWavHeader(descriptor))
            checkFormat(header->sampleRate, header->channels);
        if (problem.error == Case::notAudio)
            throw sndfileProblem;
        throw;
    }
}

} // namespace

class AudioFile::Descriptor {
public:
    // Opening without waiting: a pipe without a writer would keep us.
    explicit Descriptor(const std::filesystem::path& file)
        : value_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        if (value_ < 0)
            throw systemProblem(errno);
    }

    ~Descriptor() { close(value_); }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int value() const { return value_; }

    // Throws unless it is a regular file with something in it.
    std::uint64_t checkedSize() const {
        struct stat status {};

        if (fstat(value_, &status) != 0)
            throw systemProblem(errno);
        if (S_ISDIR(status.st_mode))
            throw AudioFileProblem{Case::isDirectory, {}};
        if (!S_ISREG(status.st_mode))
            throw AudioFileProblem{Case::notARegularFile, {}};
        if (status.st_size == 0)
            throw AudioFileProblem{Case::isEmpty, {}};
        return static_cast<std::uint64_t>(status.st_size);
    }

private:
    int value_;
};

AudioFile::AudioFile(const std::filesystem::path& file, std::stop_token stop) : file_(file), stop_(std::move(stop)) {
    try {
        if (stop_.stop_requested())
            throw AudioFileProblem{Case::stopped, {}};
        descriptor_ = std::make_unique<Descriptor>(file);
        const std::uint64_t size = descriptor_->checkedSize();
        decoder_ = openDecoder(descriptor_->value(), stop_);
        format_ = decoder_->format();
        checkFormat(format_.sampleRate, format_.channels);
        const std::uint64_t likely = decoder_->likelyFrames();
        if (static_cast<double>(likely) * decoder_->leastBytesPerFrame() <= static_cast<double>(size))
            expectedFrames_ = likely;
        promisedFrames_ = decoder_->promisedFrames();
    } catch (const AudioFileProblem& problem) {
        throw AudioFileError(problem.error, file, problem.detail);
    }
}

AudioFile::~AudioFile() = default;
AudioFile::AudioFile(AudioFile&&) noexcept = default;
AudioFile& AudioFile::operator=(AudioFile&&) noexcept = default;

std::size_t AudioFile::read(std::span<float> samples) {
    try {
        if (stop_.stop_requested())
            throw AudioFileProblem{Case::stopped, {}};
        return decoder_->read(samples.first(samples.size() - samples.size() % format_.channels));
    } catch (const AudioFileProblem& problem) {
        throw AudioFileError(problem.error, file_, problem.detail);
    }
}

double AudioFile::share() const {
    return std::clamp(decoder_->share(), 0.0, 1.0);
}

} // namespace VarnelSpeech
