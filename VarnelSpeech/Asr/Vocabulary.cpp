#include "VarnelSpeech/Asr/AsrModels.h"

#include "VarnelSpeech/Shared/AppLogger.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace VarnelSpeech {

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t maximumBytes = std::uintmax_t{64} * 1024 * 1024;

std::optional<int> tokenId(std::string_view key) {
    if (key.starts_with('+')) {
        key.remove_prefix(1);
        if (key.starts_with('-'))
            return std::nullopt;
    }
    int id = 0;
    const auto result = std::from_chars(key.data(), key.data() + key.size(), id);
    if (result.ec != std::errc() || result.ptr != key.data() + key.size())
        return std::nullopt;
    return id;
}

std::string readFile(const fs::path& path) {
    if (!fs::is_regular_file(path))
        throw std::runtime_error("not a regular file");
    if (fs::file_size(path) > maximumBytes)
        throw std::runtime_error("the file has more than 64 MiB");
    std::ifstream file(path, std::ios::binary);
    std::string text(fs::file_size(path), '\0');
    if (!file.read(text.data(), static_cast<std::streamsize>(text.size())))
        throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(), "read");
    return text;
}

Vocabulary parse(const std::string& text) {
    const auto table = nlohmann::json::parse(text);
    if (!table.is_object())
        throw AsrModelsError::loadingFailed("Vocabulary parsing failed");
    Vocabulary vocabulary;
    vocabulary.reserve(table.size());
    for (const auto& [key, value] : table.items()) {
        if (!value.is_string())
            throw AsrModelsError::loadingFailed("Vocabulary parsing failed");
        if (const auto id = tokenId(key))
            vocabulary[*id] = value.get_ref<const std::string&>();
    }
    return vocabulary;
}

} // namespace

Vocabulary loadVocabulary(const fs::path& directory) {
    const AppLogger logger("AsrModels");
    const std::string name(ModelNames::ASR::vocabulary);
    const fs::path path = directory / name;
    std::error_code ignored;
    if (!fs::exists(path, ignored)) {
        logger.error(fmt::format("Vocabulary file not found at {}. Please ensure the vocab file is downloaded with the "
                                 "models.",
                                 path.string()));
        throw AsrModelsError::modelNotFound(name, path);
    }
    const auto logFailure = [&](const std::exception& error) {
        logger.error(fmt::format("Failed to load or parse vocabulary file at {}: {}", path.string(), error.what()));
    };
    try {
        Vocabulary vocabulary = parse(readFile(path));
        logger.info(fmt::format("Loaded vocabulary with {} tokens from {}", vocabulary.size(), path.string()));
        return vocabulary;
    } catch (const AsrModelsError& error) {
        logFailure(error);
        throw;
    } catch (const std::exception& error) {
        logFailure(error);
        throw AsrModelsError::loadingFailed(error.what());
    }
}

} // namespace VarnelSpeech
