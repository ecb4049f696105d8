#include "VarnelSpeech/Shared/AudioFileSupport.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}
#include <sndfile.h>

namespace VarnelSpeech {

namespace {

bool readsSndfile(int format) {
    SF_INFO info{};
    info.format = format;
    info.samplerate = 16000;
    info.channels = 1;
    return sf_format_check(&info) != 0;
}

bool readsFFmpeg(const char* container, AVCodecID codec) {
    return av_find_input_format(container) != nullptr && avcodec_find_decoder(codec) != nullptr;
}

} // namespace

std::vector<AudioFileKind> audioFileSupport() {
    return {
        {"WAV", readsSndfile(SF_FORMAT_WAV | SF_FORMAT_PCM_16)},
        {"RF64", readsSndfile(SF_FORMAT_RF64 | SF_FORMAT_FLOAT)},
        {"FLAC", readsSndfile(SF_FORMAT_FLAC | SF_FORMAT_PCM_16)},
        {"OGG Vorbis", readsSndfile(SF_FORMAT_OGG | SF_FORMAT_VORBIS)},
        {"OGG Opus", readsSndfile(SF_FORMAT_OGG | SF_FORMAT_OPUS)},
        {"MP3", readsSndfile(SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III)},
        {"M4A (AAC)", readsFFmpeg("mov", AV_CODEC_ID_AAC)},
        {"MP4 video", readsFFmpeg("mov", AV_CODEC_ID_AAC)},
        {"WebM video", readsFFmpeg("matroska", AV_CODEC_ID_OPUS)},
    };
}

} // namespace VarnelSpeech
