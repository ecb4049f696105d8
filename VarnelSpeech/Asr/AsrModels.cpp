#include "VarnelSpeech/Asr/AsrModels.h"

#include "VarnelSpeech/Asr/AsrModelContracts.h"
#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/Environment.h"
#include "VarnelSpeech/Shared/RepositoryLock.h"

#include <fmt/format.h>

#include <system_error>
#include <utility>
#include <vector>

namespace VarnelSpeech {

namespace {

namespace fs = std::filesystem;

// A bundle and where it may run.
struct ModelSpec {
    std::string fileName;
    MLComputeUnits computeUnits;
};

using SpecGroup = std::pair<MLComputeUnits, std::vector<std::string>>;

const AppLogger& logger() {
    static const AppLogger logger("AsrModels");
    return logger;
}

std::vector<ModelSpec> modelSpecs(MLComputeUnits units) {
    return {{std::string(ModelNames::ASR::preprocessor), MLComputeUnits::cpuOnly},
            {std::string(ModelNames::ASR::encoder), units},
            {std::string(ModelNames::ASR::decoder), units},
            {std::string(ModelNames::ASR::joint), units}};
}

std::vector<SpecGroup> groupedByUnits(const std::vector<ModelSpec>& specs) {
    std::vector<SpecGroup> groups;
    for (const ModelSpec& spec : specs) {
        if (groups.empty() || groups.back().first != spec.computeUnits)
            groups.push_back({spec.computeUnits, {}});
        groups.back().second.push_back(spec.fileName);
    }
    return groups;
}

std::vector<std::string> bundleNames() {
    std::vector<std::string> names;
    for (ModelSpec& spec : modelSpecs(MLComputeUnits::cpuOnly))
        names.push_back(std::move(spec.fileName));
    return names;
}

// The networks that run thousands of times for a recording are too small to share out.
DownloadUtils::ThreadingByName threadingByName() {
    return {{std::string(ModelNames::ASR::decoder), MLThreading::callingThread},
            {std::string(ModelNames::ASR::joint), MLThreading::callingThread}};
}

// Absolute, and without a slash at its end, which would make a link be followed.
fs::path plainFolder(const fs::path& directory) {
    fs::path folder = fs::absolute(directory).lexically_normal();
    return folder.has_filename() ? folder : folder.parent_path();
}

// The models' root that a set's folder lies in.
fs::path rootOf(const fs::path& directory, AsrModelVersion version) {
    fs::path folder = plainFolder(directory);
    for (const fs::path& component : fs::path(folderName(repo(version)))) {
        static_cast<void>(component);
        folder = folder.parent_path();
    }
    return folder;
}

void removeFolder(const fs::path& directory, AsrModelVersion version, const std::stop_token& stop) {
    const fs::path root = rootOf(directory, version);
    const RepositoryLock lock(root, folderName(repo(version)), stop);
    fs::remove_all(plainFolder(directory));
}

std::shared_ptr<MLModel> take(DownloadUtils::LoadedModels& models, std::string_view name) {
    const auto found = models.find(std::string(name));
    return found == models.end() ? nullptr : found->second;
}

} // namespace

Repo repo(AsrModelVersion version) {
    return version == AsrModelVersion::v2 ? Repo::parakeetV2 : Repo::parakeet;
}

fs::path AsrModels::defaultCacheDirectory(AsrModelVersion version) {
    return DownloadUtils::defaultModelsRoot() / folderName(repo(version));
}

MLModelConfiguration AsrModels::defaultConfiguration() {
    MLModelConfiguration configuration;
    configuration.allowLowPrecisionAccumulationOnGPU = true;
    configuration.computeUnits = environmentValue("CI") ? MLComputeUnits::cpuOnly : MLComputeUnits::cpuAndNeuralEngine;
    return configuration;
}

AsrModels AsrModels::load(const fs::path& directory, const std::optional<MLModelConfiguration>& configuration,
                          AsrModelVersion version, DownloadUtils::Fetching fetching,
                          const DownloadUtils::DownloadConfig& download) {
    logger().info("Loading ASR models with ANE optimization from: " + directory.string());
    AsrModels models;
    models.version = version;
    models.configuration = configuration.value_or(defaultConfiguration());

    const fs::path root = rootOf(directory, version);
    DownloadUtils::LoadedModels loaded;
    for (const auto& [units, names] : groupedByUnits(modelSpecs(models.configuration.computeUnits))) {
        MLModelConfiguration groupConfiguration = models.configuration;
        groupConfiguration.computeUnits = units;
        auto group = DownloadUtils::loadModels(repo(version), names, root, groupConfiguration, {}, fetching, download,
                                               threadingByName());
        for (const std::string& name : names)
            if (group.contains(name))
                logger().info(fmt::format("Loaded {} with compute units: {}", name, describe(units)));
        loaded.merge(group);
    }
    models.preprocessor = take(loaded, ModelNames::ASR::preprocessor);
    models.encoder = take(loaded, ModelNames::ASR::encoder);
    models.decoder = take(loaded, ModelNames::ASR::decoder);
    models.joint = take(loaded, ModelNames::ASR::joint);
    if (!models.preprocessor || !models.encoder)
        throw AsrModelsError::loadingFailed("Failed to load preprocessor or encoder model");
    if (!models.decoder || !models.joint)
        throw AsrModelsError::loadingFailed("Failed to load decoder or joint model");
    requireContracts(models);
    models.vocabulary = loadVocabulary(directory);
    logger().info("Successfully loaded all ASR models with optimized compute units");
    return models;
}

AsrModels AsrModels::downloadAndLoad(const std::optional<fs::path>& directory,
                                     const std::optional<MLModelConfiguration>& configuration, AsrModelVersion version,
                                     const DownloadUtils::DownloadConfig& download) {
    const fs::path folder = AsrModels::download(directory, false, version, download);
    return load(folder, configuration, version, DownloadUtils::Fetching::whenMissing, download);
}

fs::path AsrModels::download(const std::optional<fs::path>& directory, bool force, AsrModelVersion version,
                             const DownloadUtils::DownloadConfig& download) {
    fs::path folder = directory.value_or(defaultCacheDirectory(version));
    if (!force && modelsExist(folder, version)) {
        logger().info("ASR models already present at: " + folder.string());
        return folder;
    }
    if (force)
        removeFolder(folder, version, download.stop);
    logger().info("Downloading ASR models to: " + folder.string());
    MLModelConfiguration configuration;
    configuration.computeUnits = MLComputeUnits::cpuOnly;
    DownloadUtils::loadModels(repo(version), bundleNames(), rootOf(folder, version), configuration, {},
                              DownloadUtils::Fetching::whenMissing, download, threadingByName());
    logger().info("Successfully downloaded ASR models");
    return folder;
}

bool AsrModels::modelsExist(const fs::path& directory, AsrModelVersion version) {
    std::error_code ignored;
    for (const std::string& name : ModelNames::getRequiredModelNames(repo(version)))
        if (!fs::exists(directory / name, ignored))
            return false;
    return !DownloadUtils::isFetchUnfinished(directory);
}

bool AsrModels::isModelValid(AsrModelVersion version, const std::optional<fs::path>& directory) {
    const fs::path folder = directory.value_or(defaultCacheDirectory(version));
    if (!modelsExist(folder, version)) {
        logger().info("Model validation failed: model files not found");
        return false;
    }
    MLModelConfiguration configuration;
    configuration.computeUnits = MLComputeUnits::cpuOnly;
    for (const std::string& name : bundleNames()) {
        try {
            loadModel(folder / name, configuration);
        } catch (const std::exception& error) {
            logger().error(fmt::format("Model validation failed: {} - {}", name, error.what()));
            return false;
        }
    }
    return true;
}

} // namespace VarnelSpeech
