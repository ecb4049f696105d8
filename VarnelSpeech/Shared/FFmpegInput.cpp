#include "VarnelSpeech/Shared/FFmpegInput.h"

#include "VarnelSpeech/Shared/AudioFileDecoder.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

namespace VarnelSpeech {

namespace {

using Case = AudioFileError::Case;

constexpr int ioBufferBytes = 1 << 15;
// Below this score a format was guessed from next to nothing.
constexpr int leastProbeScore = AVPROBE_SCORE_RETRY;

constexpr std::array<std::string_view, 36> acceptedFormats{
    "aac",    "ac3",    "aiff",          "amr",   "ape", "asf",  "au",   "avi",
    "caf",    "dsf",    "dts",           "dtshd", "dv",  "eac3", "flac", "flv",
    "gxf",    "loas",   "matroska,webm", "mlp",   "mp3", "mpc",  "mpc8", "mov,mp4,m4a,3gp,3g2,mj2",
    "mpeg",   "mpegts", "mxf",           "nut",   "ogg", "oma",  "rm",   "tak",
    "truehd", "tta",    "voc",           "wav"};
constexpr std::array<std::string_view, 2> moreAcceptedFormats{"w64", "wv"};

bool isAccepted(std::string_view format) {
    const auto holds = [format](const auto& list) { return std::find(list.begin(), list.end(), format) != list.end(); };
    return holds(acceptedFormats) || holds(moreAcceptedFormats);
}

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EPERM);
}

} // namespace

struct FFmpegInput::Source {
    int descriptor;
    std::stop_token stop;
    std::int64_t position = 0;

    std::int64_t size() const {
        struct stat status {};

        return fstat(descriptor, &status) == 0 ? status.st_size : 0;
    }

    static int read(void* opaque, std::uint8_t* buffer, int bytes) {
        auto& source = *static_cast<Source*>(opaque);
        if (source.stop.stop_requested())
            return AVERROR_EXIT;
        const ssize_t count = pread(source.descriptor, buffer, static_cast<std::size_t>(bytes), source.position);
        if (count < 0)
            return AVERROR(errno);
        source.position += count;
        return count == 0 ? AVERROR_EOF : static_cast<int>(count);
    }

    static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
        auto& source = *static_cast<Source*>(opaque);
        if ((whence & AVSEEK_SIZE) != 0)
            return source.size();
        std::int64_t base = 0;
        if ((whence & ~AVSEEK_FORCE) == SEEK_CUR)
            base = source.position;
        else if ((whence & ~AVSEEK_FORCE) == SEEK_END)
            base = source.size();
        std::int64_t target = 0;
        if (__builtin_add_overflow(base, offset, &target) || target < 0)
            return AVERROR(EINVAL);
        return source.position = target;
    }

    static int isInterrupted(void* opaque) { return static_cast<Source*>(opaque)->stop.stop_requested() ? 1 : 0; }
};

void FFmpegInput::Freer::operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
}

void FFmpegInput::Freer::operator()(AVFormatContext* context) const {
    avformat_close_input(&context);
}

FFmpegInput::FFmpegInput(int descriptor, std::stop_token stop)
    : source_(std::make_unique<Source>(Source{descriptor, std::move(stop)})) {
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });

    auto* buffer = static_cast<unsigned char*>(av_malloc(ioBufferBytes));
    io_.reset(avio_alloc_context(buffer, ioBufferBytes, 0, source_.get(), Source::read, nullptr, Source::seek));
    if (buffer == nullptr || !io_)
        throw std::bad_alloc();

    const AVInputFormat* format = nullptr;
    const int score = av_probe_input_buffer2(io_.get(), &format, "", nullptr, 0, 0);
    throwIfStopped();
    if (score < leastProbeScore || format == nullptr || !isAccepted(format->name))
        throw AudioFileProblem{Case::notAudio, {}};

    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr)
        throw std::bad_alloc();
    context->pb = io_.get();
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->io_open = refuseToOpen;
    context->interrupt_callback = {Source::isInterrupted, source_.get()};
    const int opened = avformat_open_input(&context, "", format, nullptr); // frees the context when it fails
    throwIfStopped();
    if (opened < 0)
        throw AudioFileProblem{Case::isDamaged, {}};
    context_.reset(context);
    const int found = avformat_find_stream_info(context, nullptr);
    throwIfStopped();
    if (found < 0)
        throw AudioFileProblem{Case::isDamaged, {}};
}

FFmpegInput::~FFmpegInput() = default;

void FFmpegInput::readOnly(int streamIndex) {
    for (unsigned index = 0; index < context_->nb_streams; ++index)
        context_->streams[index]->discard =
            index == static_cast<unsigned>(streamIndex) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

double FFmpegInput::duration(const AVStream& stream) const {
    if (stream.duration != AV_NOPTS_VALUE && stream.duration > 0)
        return static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    if (context_->duration != AV_NOPTS_VALUE && context_->duration > 0)
        return static_cast<double>(context_->duration) / AV_TIME_BASE;
    return 0;
}

bool FFmpegInput::saysDurationOf(const AVStream& stream) const {
    const bool isOfEachStream = std::string_view(context_->iformat->name).starts_with("mov,");
    return stream.duration != AV_NOPTS_VALUE && stream.duration > 0 &&
           context_->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE &&
           (isOfEachStream || context_->nb_streams == 1);
}

double FFmpegInput::share() const {
    const std::int64_t size = source_->size();
    return size > 0 ? static_cast<double>(avio_tell(io_.get())) / static_cast<double>(size) : 1;
}

void FFmpegInput::throwIfStopped() const {
    if (source_->stop.stop_requested())
        throw AudioFileProblem{Case::stopped, {}};
}

} // namespace VarnelSpeech
