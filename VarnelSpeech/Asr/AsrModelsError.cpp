#include "VarnelSpeech/Asr/AsrModels.h"

#include "VarnelSpeech/Shared/PrintableText.h"

namespace VarnelSpeech {

AsrModelsError::AsrModelsError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

AsrModelsError AsrModelsError::modelNotFound(const std::string& name, const std::filesystem::path& path) {
    return {Case::modelNotFound, "ASR model '" + name + "' not found at: " + printable(path.string())};
}

AsrModelsError AsrModelsError::downloadFailed(const std::string& detail) {
    return {Case::downloadFailed, "Failed to download ASR models: " + detail};
}

AsrModelsError AsrModelsError::loadingFailed(const std::string& detail) {
    return {Case::loadingFailed, "Failed to load ASR models: " + detail};
}

AsrModelsError AsrModelsError::modelCompilationFailed(const std::string& detail) {
    return {Case::modelCompilationFailed,
            "Failed to compile ASR models: " + detail + ". Try deleting the models and re-downloading."};
}

} // namespace VarnelSpeech
