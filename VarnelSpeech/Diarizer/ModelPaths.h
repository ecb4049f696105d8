#pragma once

#include <filesystem>

namespace VarnelSpeech {

// Where the two bundles of the chunked diarizer lie.
struct ModelPaths {
    std::filesystem::path segmentationPath;
    std::filesystem::path embeddingPath;

    // Under their usual names in one folder.
    static ModelPaths inFolder(const std::filesystem::path& folder);
};

} // namespace VarnelSpeech
