#pragma once

#include "Varnel/Platform/AudioStream.h"

#include <QCoroTask>

#include <memory>

namespace Varnel {

// What the machine plays through its default output, without this program's own sound.
class LoopbackAudio {
public:
    virtual ~LoopbackAudio() = default;

    // Starts a capture, 48 kHz stereo. It follows the default output from then on. Throws AudioStreamError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>> open(AudioBlockHandler onBlock) = 0;
};

} // namespace Varnel
