#include "VarnelSpeech/Shared/AudioFileDecoder.h"
#include "VarnelSpeech/Shared/WavHeader.h"

#include <sndfile.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace VarnelSpeech {

namespace {

using Case = AudioFileError::Case;

struct FileCloser {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

// Bytes of one sample where the encoding has a fixed size; 0 where it is compressed.
double fixedBytesPerSample(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
        return 1;
    case SF_FORMAT_PCM_16:
        return 2;
    case SF_FORMAT_PCM_24:
        return 3;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
        return 4;
    case SF_FORMAT_DOUBLE:
        return 8;
    default:
        return 0;
    }
}

class SndfileDecoder final : public AudioFileDecoder {
public:
    explicit SndfileDecoder(int descriptor) {
        // A descriptor of its own: told to leave one open, the library still closes it when it refuses the file.
        const int own = dup(descriptor);
        if (own < 0)
            throw AudioFileProblem{Case::readFailed, std::generic_category().message(errno)};
        lseek(own, 0, SEEK_SET);
        file_.reset(sf_open_fd(own, SFM_READ, &info_, SF_TRUE));
        if (file_) {
            // The library has cut the length of a WAV file to what is there.
            const auto header = readWavHeader(descriptor);
            promisedFrames_ = std::max(likelyFrames(), header ? header->frames : std::uint64_t{0});
            return;
        }
        switch (sf_error(nullptr)) {
        case SF_ERR_UNRECOGNISED_FORMAT:
            throw AudioFileProblem{Case::notAudio, {}};
        case SF_ERR_UNSUPPORTED_ENCODING:
            throw AudioFileProblem{Case::unknownEncoding, {}};
        default:
            throw AudioFileProblem{Case::isDamaged, {}};
        }
    }

    AudioFormat format() const override {
        return {static_cast<double>(info_.samplerate), static_cast<std::uint32_t>(info_.channels),
                AudioSampleType::float32, true};
    }

    std::uint64_t promisedFrames() const override { return promisedFrames_; }

    std::uint64_t likelyFrames() const override {
        return info_.frames > 0 ? static_cast<std::uint64_t>(info_.frames) : 0;
    }

    double leastBytesPerFrame() const override {
        const double bytes = fixedBytesPerSample(info_.format) * info_.channels;
        const int container = info_.format & SF_FORMAT_TYPEMASK;
        // FLAC and ALAC containers name the sample type of what they pack.
        const bool isPlain = bytes > 0 && container != SF_FORMAT_FLAC;
        return isPlain ? bytes : leastCompressedBytesPerFrame;
    }

    std::size_t read(std::span<float> samples) override {
        const auto channels = static_cast<std::size_t>(info_.channels);
        const sf_count_t frames =
            sf_readf_float(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size() / channels));
        const std::size_t count = frames > 0 ? static_cast<std::size_t>(frames) : 0;
        framesRead_ += count;
        return count;
    }

    double share() const override {
        return info_.frames > 0 ? static_cast<double>(framesRead_) / static_cast<double>(info_.frames) : 0;
    }

private:
    SF_INFO info_{};
    std::unique_ptr<SNDFILE, FileCloser> file_;
    std::uint64_t promisedFrames_ = 0;
    std::uint64_t framesRead_ = 0;
};

} // namespace

std::unique_ptr<AudioFileDecoder> openSndfileDecoder(int descriptor) {
    return std::make_unique<SndfileDecoder>(descriptor);
}

} // namespace VarnelSpeech
