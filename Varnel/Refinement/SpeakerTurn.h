#pragma once

#include <string>

namespace Varnel {

// A stretch of one speaker's speech in a recording, in seconds from its beginning.
struct SpeakerTurn {
    double start = 0;
    double end = 0;
    std::string speaker;

    bool operator==(const SpeakerTurn&) const = default;
};

} // namespace Varnel
