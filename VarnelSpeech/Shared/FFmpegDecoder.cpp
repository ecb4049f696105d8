#include "VarnelSpeech/Shared/AudioFileDecoder.h"
#include "VarnelSpeech/Shared/FFmpegInput.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace VarnelSpeech {

namespace {

using Case = AudioFileError::Case;

struct Freer {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }

    void operator()(AVPacket* packet) const { av_packet_free(&packet); }

    void operator()(AVFrame* frame) const { av_frame_free(&frame); }

    void operator()(SwrContext* converter) const { swr_free(&converter); }
};

template <typename Object>
using Owned = std::unique_ptr<Object, Freer>;

template <typename Object>
Owned<Object> owned(Object* object) {
    if (object == nullptr)
        throw std::bad_alloc();
    return Owned<Object>(object);
}

class FFmpegDecoder final : public AudioFileDecoder {
public:
    FFmpegDecoder(int descriptor, std::stop_token stop) : input_(descriptor, std::move(stop)) {
        openCodec();
        // A head may differ from what is decoded (implicit spectral band replication doubles the rate, for one): the
        // first frame decides.
        if (!decodeFrame())
            throw AudioFileProblem{Case::hasNoAudio, {}};
        format_ = {static_cast<double>(frame_->sample_rate), static_cast<std::uint32_t>(frame_->ch_layout.nb_channels),
                   AudioSampleType::float32, true};
        hasFrame_ = true;
    }

    AudioFormat format() const override { return format_; }

    std::uint64_t likelyFrames() const override { return framesIn(input_.duration(*stream_)); }

    std::uint64_t promisedFrames() const override {
        return input_.saysDurationOf(*stream_) ? framesIn(input_.duration(*stream_)) : 0;
    }

    double leastBytesPerFrame() const override { return leastCompressedBytesPerFrame; }

    std::size_t read(std::span<float> samples) override {
        std::size_t filled = 0;
        while (filled < samples.size() && (next_ < converted_.size() || convertFrame())) {
            const std::size_t count = std::min(samples.size() - filled, converted_.size() - next_);
            std::copy_n(converted_.begin() + static_cast<std::ptrdiff_t>(next_), count, samples.data() + filled);
            next_ += count;
            filled += count;
        }
        return filled / format_.channels;
    }

    double share() const override { return input_.share(); }

private:
    std::uint64_t framesIn(double seconds) const {
        return static_cast<std::uint64_t>(std::clamp(seconds * format_.sampleRate, 0.0, 0x1p60));
    }

    void openCodec() {
        const AVCodec* decoder = nullptr;
        const int index = av_find_best_stream(input_.context(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
        if (index == AVERROR_STREAM_NOT_FOUND)
            throw AudioFileProblem{Case::hasNoAudio, {}};
        if (index < 0 || decoder == nullptr)
            throw AudioFileProblem{Case::unknownEncoding, {}};
        stream_ = input_.context()->streams[index];
        input_.readOnly(index);
        codec_ = owned(avcodec_alloc_context3(decoder));
        codec_->thread_count = 1;
        codec_->pkt_timebase = stream_->time_base;
        if (avcodec_parameters_to_context(codec_.get(), stream_->codecpar) < 0 ||
            avcodec_open2(codec_.get(), decoder, nullptr) < 0)
            throw AudioFileProblem{Case::isDamaged, {}};
    }

    // The next frame with something in it; false at the end. Packets that cannot be decoded are passed over.
    bool decodeFrame() {
        for (;;) {
            const int received = avcodec_receive_frame(codec_.get(), frame_.get());
            if (received == 0 && frame_->nb_samples > 0 && frame_->ch_layout.nb_channels > 0 && frame_->sample_rate > 0)
                return true;
            if (received == AVERROR_EOF || (received < 0 && isDraining_))
                return false;
            if (received < 0)
                feedCodec();
        }
    }

    void feedCodec() {
        const int read = av_read_frame(input_.context(), packet_.get());
        input_.throwIfStopped();
        if (read < 0) {
            isDraining_ = true;
            avcodec_send_packet(codec_.get(), nullptr);
            return;
        }
        if (packet_->stream_index == stream_->index)
            avcodec_send_packet(codec_.get(), packet_.get());
        av_packet_unref(packet_.get());
    }

    // Brings the next frame into converted_; false at the end.
    bool convertFrame() {
        if (!std::exchange(hasFrame_, false) && !decodeFrame())
            return false;
        makeConverter();
        const int room = swr_get_out_samples(converter_.get(), frame_->nb_samples);
        converted_.resize(static_cast<std::size_t>(std::max(room, 0)) * format_.channels);
        auto* output = reinterpret_cast<std::uint8_t*>(converted_.data());
        const int frames = swr_convert(converter_.get(), &output, room,
                                       const_cast<const std::uint8_t**>(frame_->extended_data), frame_->nb_samples);
        converted_.resize(static_cast<std::size_t>(std::max(frames, 0)) * format_.channels);
        next_ = 0;
        return true;
    }

    // A stream may change its form on the way; what it gives stays in the form of its first frame.
    void makeConverter() {
        const Form form{frame_->format, frame_->sample_rate, frame_->ch_layout.nb_channels};
        if (converter_ && form == form_)
            return;
        AVChannelLayout from{};
        AVChannelLayout to{};
        av_channel_layout_default(&from, form.channels);
        av_channel_layout_default(&to, static_cast<int>(format_.channels));
        SwrContext* made = nullptr;
        swr_alloc_set_opts2(&made, &to, AV_SAMPLE_FMT_FLT, static_cast<int>(format_.sampleRate), &from,
                            static_cast<AVSampleFormat>(form.sampleFormat), form.sampleRate, 0, nullptr);
        converter_.reset(made);
        if (!converter_ || swr_init(converter_.get()) < 0)
            throw AudioFileProblem{Case::isDamaged, {}};
        form_ = form;
    }

    struct Form {
        int sampleFormat = -1;
        int sampleRate = 0;
        int channels = 0;

        bool operator==(const Form&) const = default;
    };

    FFmpegInput input_;
    AVStream* stream_ = nullptr;
    Owned<AVCodecContext> codec_;
    Owned<AVPacket> packet_ = owned(av_packet_alloc());
    Owned<AVFrame> frame_ = owned(av_frame_alloc());
    bool hasFrame_ = false; // frame_ is decoded and not yet converted
    bool isDraining_ = false;

    AudioFormat format_;
    Form form_; // of what converter_ takes
    Owned<SwrContext> converter_;
    std::vector<float> converted_; // given out from next_ on
    std::size_t next_ = 0;
};

} // namespace

std::unique_ptr<AudioFileDecoder> openFFmpegDecoder(int descriptor, std::stop_token stop) {
    return std::make_unique<FFmpegDecoder>(descriptor, std::move(stop));
}

} // namespace VarnelSpeech
