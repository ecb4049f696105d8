#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/PrintableText.h"
#include "VarnelSpeech/Shared/RepositoryDownload.h"
#include "VarnelSpeech/Shared/RepositoryFolder.h"
#include "VarnelSpeech/Shared/RepositoryListingError.h"
#include "VarnelSpeech/Shared/RepositoryLock.h"
#include "VarnelSpeech/Shared/SystemInfoReporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <optional>
#include <set>

namespace VarnelSpeech::DownloadUtils {

namespace {

namespace fs = std::filesystem;

const AppLogger& logger() {
    static const AppLogger logger("DownloadUtils");
    return logger;
}

bool isThere(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool isDirectory(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

// One call of loadModels: what to load, and from where.
class ModelLoading {
public:
    ModelLoading(Repo repo, const std::vector<std::string>& names, const fs::path& root,
                 const MLModelConfiguration& configuration, std::string_view variant, const ThreadingByName& threading,
                 const DownloadConfig& download)
        : repo_(repo),
          names_(names),
          root_(root),
          folder_(root / folderName(repo)),
          configuration_(configuration),
          variant_(variant),
          threading_(threading),
          download_(download) {
        configuration_.allowLowPrecisionAccumulationOnGPU = true;
    }

    LoadedModels loadWithRepair() const {
        const RepositoryLock lock(root_, folderName(repo_), download_.stop);
        RepositoryDownload repair(repo_, root_, variant_, download_);
        std::string failure;
        try {
            return fetchAndLoad(repair);
        } catch (const std::bad_alloc&) {
            throw; // says nothing about the files
        } catch (const RepositoryListingError&) {
            throw;
        } catch (const HttpTransportError& error) {
            if (error.error() == HttpTransportError::Case::cancelled)
                throw;
            failure = error.what();
        } catch (const std::exception& error) {
            failure = descriptionWithCause(error);
        }
        logger().warning("First load failed: " + failure);
        // What cannot be fetched again is not deleted.
        repair.list();
        logger().info("Deleting cache and re-downloading…");
        RepositoryFolder::remove(root_, folderName(repo_), ModelNames::namesOfOtherVariants(repo_, variant_));
        return fetchAndLoad(repair);
    }

    LoadedModels load() const {
        LoadedModels models;
        for (const std::string& name : names_) {
            // One network cannot be interrupted, but it may be the last.
            if (download_.stop.stop_requested())
                throw HttpTransportError(HttpTransportError::Case::cancelled, "Loading the models was cancelled.");
            models[name] = loadOne(name);
        }
        return models;
    }

private:
    LoadedModels fetchAndLoad(RepositoryDownload& repository) const {
        createFolders(root_);
        const auto required = ModelNames::getRequiredModelNames(repo_, variant_);
        const bool isComplete =
            std::all_of(required.begin(), required.end(), [&](const auto& name) { return isThere(folder_ / name); }) &&
            !isFetchUnfinished(folder_, variant_);
        if (isComplete) {
            logger().info(fmt::format("Found {} locally, no download needed", folderName(repo_)));
        } else {
            logger().info(fmt::format("Models not found in cache at {}", printable(folder_.string())));
            repository.run();
        }
        return load();
    }

    std::shared_ptr<MLModel> loadOne(const std::string& name) const {
        const fs::path path = folder_ / name;
        if (!isThere(path)) {
            logger().error("Model file not found: " + name);
            throw ModelFileError::noSuchFile(path);
        }
        if (!isDirectory(path)) {
            logger().error("Model path is not a directory: " + name);
            throw ModelFileError::corruptFile(path, "Model path is not a directory: " + name);
        }
        if (!isThere(path / "coremldata.bin")) {
            logger().error("Missing coremldata.bin in " + name);
            throw ModelFileError::corruptFile(path, "Missing coremldata.bin in model: " + name);
        }
        MLModelConfiguration configuration = configuration_;
        if (const auto threading = threading_.find(name); threading != threading_.end())
            configuration.threading = threading->second;
        const auto start = std::chrono::steady_clock::now();
        auto model = loadModel(path, configuration);
        const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
        logger().info(fmt::format("Compiled model {} in {:.2f} ms :: {}", name, elapsed.count(),
                                  describe(configuration.computeUnits)));
        return model;
    }

    Repo repo_;
    const std::vector<std::string>& names_;
    fs::path root_;
    fs::path folder_;
    MLModelConfiguration configuration_;
    std::string_view variant_;
    const ThreadingByName& threading_;
    const DownloadConfig& download_;
};

} // namespace

LoadedModels loadModels(Repo repo, const std::vector<std::string>& modelNames, const fs::path& directory,
                        const MLModelConfiguration& configuration, std::string_view variant, Fetching fetching,
                        const DownloadConfig& download, const ThreadingByName& threading) {
    SystemInfoReporter::shared().logOnce(logger());
    const ModelLoading loading(repo, modelNames, directory, configuration, variant, threading, download);
    return fetching == Fetching::never ? loading.load() : loading.loadWithRepair();
}

} // namespace VarnelSpeech::DownloadUtils
