#include "VarnelSpeech/Diarizer/DiarizerModels.h"

#include "VarnelSpeech/Diarizer/DiarizerError.h"
#include "VarnelSpeech/Diarizer/DiarizerModelContracts.h"
#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/Environment.h"

#include <chrono>
#include <string>
#include <vector>

namespace VarnelSpeech {

namespace {

namespace fs = std::filesystem;
namespace Names = ModelNames::Diarizer;

const AppLogger& logger() {
    static const AppLogger logger("DiarizerModels");
    return logger;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Also of a path with a slash at its end.
fs::path parentOf(const fs::path& directory) {
    const fs::path folder = fs::absolute(directory).lexically_normal();
    return folder.has_filename() ? folder.parent_path() : folder.parent_path().parent_path();
}

std::shared_ptr<MLModel> take(const DownloadUtils::LoadedModels& models, std::string_view name) {
    const auto found = models.find(std::string(name));
    if (found == models.end() || !found->second)
        throw DiarizerError(DiarizerError::Case::modelDownloadFailed);
    return found->second;
}

} // namespace

ModelPaths ModelPaths::inFolder(const fs::path& folder) {
    return {folder / Names::segmentation, folder / Names::embedding};
}

MLModelConfiguration DiarizerModels::defaultConfiguration() {
    MLModelConfiguration configuration;
    configuration.allowLowPrecisionAccumulationOnGPU = true;
    configuration.computeUnits = environmentValue("CI") ? MLComputeUnits::cpuAndNeuralEngine : MLComputeUnits::all;
    configuration.threading = MLThreading::twoThreads; // the recogniser works at the same time
    return configuration;
}

fs::path DiarizerModels::defaultModelsDirectory() {
    return DownloadUtils::defaultModelsRoot() / folderName(Repo::diarizer);
}

DiarizerModels DiarizerModels::download(const std::optional<fs::path>& directory,
                                        const std::optional<MLModelConfiguration>& configuration,
                                        DownloadUtils::Fetching fetching,
                                        const DownloadUtils::DownloadConfig& download) {
    const auto start = std::chrono::steady_clock::now();
    logger().info("Checking for diarizer models...");
    const std::vector<std::string> names{std::string(Names::segmentation), std::string(Names::embedding)};
    const auto loaded =
        DownloadUtils::loadModels(Repo::diarizer, names, parentOf(directory.value_or(defaultModelsDirectory())),
                                  configuration.value_or(defaultConfiguration()), {}, fetching, download);
    DiarizerModels models{take(loaded, Names::segmentation), take(loaded, Names::embedding), 0};
    requireContracts(models);
    models.compilationDuration = secondsSince(start);
    return models;
}

DiarizerModels DiarizerModels::load(const ModelPaths& paths, const std::optional<MLModelConfiguration>& configuration) {
    const auto start = std::chrono::steady_clock::now();
    logger().info("Loading predownloaded models");
    const MLModelConfiguration used = configuration.value_or(defaultConfiguration());
    DiarizerModels models;
    models.segmentationModel = loadModel(paths.segmentationPath, used);
    models.embeddingModel = loadModel(paths.embeddingPath, used);
    requireContracts(models);
    models.compilationDuration = secondsSince(start);
    return models;
}

} // namespace VarnelSpeech
