#pragma once

#include "VarnelSpeech/Diarizer/ModelPaths.h"
#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Shared/DownloadUtils.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace VarnelSpeech {

// The chunked diarizer's two networks:
//
//   segmentation  "audio" [1, 1, 160000], 10 s at 16 kHz  ->  "segments" [1, F, 7], class scores of F frames
//   embedding     "waveform" [3, 160000], "mask" [3, F]   ->  "embedding" [3, 256]
//
// all of 32-bit floats. A value: copies share the networks.
struct DiarizerModels {
    std::shared_ptr<MLModel> segmentationModel;
    std::shared_ptr<MLModel> embeddingModel;
    double compilationDuration = 0; // seconds spent on loading

    // All compute units, or the neural engine when the environment has "CI"; low-precision accumulation; two threads.
    static MLModelConfiguration defaultConfiguration();

    // The repository's folder below the default models' root.
    static std::filesystem::path defaultModelsDirectory();

    // Loading blocks. A network whose tensors are not those above is DiarizerError processingFailed, with the bundle
    // and the tensor; the runtime's and the delivery's errors pass through.

    // From <parent of `directory`>/<the repository's folder name>, fetching what is missing unless told otherwise.
    // Throws DiarizerError modelDownloadFailed for a set that comes without one of the two.
    static DiarizerModels download(const std::optional<std::filesystem::path>& directory = {},
                                   const std::optional<MLModelConfiguration>& configuration = {},
                                   DownloadUtils::Fetching fetching = DownloadUtils::Fetching::whenMissing,
                                   const DownloadUtils::DownloadConfig& download = {});

    // From bundles that are there: the segmentation first.
    static DiarizerModels load(const ModelPaths& paths, const std::optional<MLModelConfiguration>& configuration = {});
};

} // namespace VarnelSpeech
