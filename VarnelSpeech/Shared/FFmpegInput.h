#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>

struct AVFormatContext;
struct AVIOContext;
struct AVStream;

namespace VarnelSpeech {

// A media file opened through FFmpeg: nothing but the one descriptor is read, whatever the file refers to, and only
// formats that hold sound themselves are taken (no playlists). Throws AudioFileProblem. For one thread at a time.
class FFmpegInput {
public:
    FFmpegInput(int descriptor, std::stop_token stop);
    ~FFmpegInput();
    FFmpegInput(const FFmpegInput&) = delete;
    FFmpegInput& operator=(const FFmpegInput&) = delete;

    AVFormatContext* context() const { return context_.get(); }

    // Packets of other streams are skipped where they lie.
    void readOnly(int streamIndex);

    // Seconds that a stream seems to take; 0 if unknown.
    double duration(const AVStream& stream) const;

    // Whether that duration is what the file itself says of this stream, and no guess from the file's size, nor the
    // length of a film whose sound may end earlier.
    bool saysDurationOf(const AVStream& stream) const;

    // Share of the file up to where it has been read.
    double share() const;

    void throwIfStopped() const;

private:
    struct Source;

    struct Freer {
        void operator()(AVIOContext* io) const;
        void operator()(AVFormatContext* context) const;
    };

    std::unique_ptr<Source> source_;
    std::unique_ptr<AVIOContext, Freer> io_;
    std::unique_ptr<AVFormatContext, Freer> context_;
};

} // namespace VarnelSpeech
