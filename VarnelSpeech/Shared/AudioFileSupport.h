#pragma once

#include <string>
#include <vector>

namespace VarnelSpeech {

// One kind of audio file, and whether the libraries of this machine read it.
struct AudioFileKind {
    std::string name; // "FLAC", "M4A (AAC)"
    bool isReadable = false;
};

// The kinds of files that people have, with what was found of each.
std::vector<AudioFileKind> audioFileSupport();

} // namespace VarnelSpeech
