#pragma once

#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Shared/DownloadUtils.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>

namespace VarnelSpeech {

enum class AsrModelVersion { v2, v3 };

// Token id to its text, such as "▁the" (UTF-8).
using Vocabulary = std::unordered_map<int, std::string>;

class AsrModelsError : public std::runtime_error {
public:
    enum class Case { modelNotFound, downloadFailed, loadingFailed, modelCompilationFailed };

    static AsrModelsError modelNotFound(const std::string& name, const std::filesystem::path& path);
    static AsrModelsError downloadFailed(const std::string& detail);
    static AsrModelsError loadingFailed(const std::string& detail);
    static AsrModelsError modelCompilationFailed(const std::string& detail);

    Case error() const { return error_; }

private:
    AsrModelsError(Case error, const std::string& text);
    Case error_;
};

// The loaded set of the four transducer networks and their vocabulary. A value: copies share the networks, which one
// AsrManager uses at a time.
struct AsrModels {
    std::shared_ptr<MLModel> encoder;
    std::shared_ptr<MLModel> preprocessor;
    std::shared_ptr<MLModel> decoder;
    std::shared_ptr<MLModel> joint;
    MLModelConfiguration configuration;
    Vocabulary vocabulary;
    AsrModelVersion version = AsrModelVersion::v3;

    // The repository's folder below the default models' root.
    static std::filesystem::path defaultCacheDirectory(AsrModelVersion version = AsrModelVersion::v3);

    // cpuAndNeuralEngine with low-precision accumulation; cpuOnly when the environment has "CI".
    static MLModelConfiguration defaultConfiguration();

    // Loads from the repository's own folder `directory`: the networks of the set from `directory`/../<the
    // repository's folder name>, the vocabulary from `directory`. The preprocessor always runs on the processor; the
    // decoder and the joint network, which are tiny, run on the calling thread. A network whose tensors are not those
    // of its role is loadingFailed. Throws AsrModelsError and what DownloadUtils::loadModels throws.
    static AsrModels load(const std::filesystem::path& directory,
                          const std::optional<MLModelConfiguration>& configuration = {},
                          AsrModelVersion version = AsrModelVersion::v3,
                          DownloadUtils::Fetching fetching = DownloadUtils::Fetching::whenMissing,
                          const DownloadUtils::DownloadConfig& download = {});

    static AsrModels downloadAndLoad(const std::optional<std::filesystem::path>& directory = {},
                                     const std::optional<MLModelConfiguration>& configuration = {},
                                     AsrModelVersion version = AsrModelVersion::v3,
                                     const DownloadUtils::DownloadConfig& download = {});

    // Fetches what is missing and proves that each network loads. Returns the folder. `force` removes it first.
    static std::filesystem::path download(const std::optional<std::filesystem::path>& directory = {},
                                          bool force = false, AsrModelVersion version = AsrModelVersion::v3,
                                          const DownloadUtils::DownloadConfig& download = {});

    // Whether the four bundles and the vocabulary are there, and no fetch of them was cut short.
    static bool modelsExist(const std::filesystem::path& directory, AsrModelVersion version = AsrModelVersion::v3);

    // Whether each of them also loads; looks at the default folder unless one is given.
    static bool isModelValid(AsrModelVersion version = AsrModelVersion::v3,
                             const std::optional<std::filesystem::path>& directory = {});
};

// Reads "parakeet_vocab.json" in `directory`, at most 64 MiB. Keys that are no decimal number within an int are
// skipped. Throws AsrModelsError modelNotFound and loadingFailed.
Vocabulary loadVocabulary(const std::filesystem::path& directory);

Repo repo(AsrModelVersion version);

} // namespace VarnelSpeech
