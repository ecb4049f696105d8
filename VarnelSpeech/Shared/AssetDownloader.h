#pragma once

#include "VarnelSpeech/Shared/DownloadUtils.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>

namespace VarnelSpeech::AssetDownloader {

// How the bytes reach their destination; both handlers get the destination as second argument and may throw.
struct TransferMode {
    // Writes bytes that were fetched into memory (at most 256 MiB).
    using Data = std::function<void(std::span<const std::byte>, const std::filesystem::path&)>;
    // Takes a downloaded temporary file, which is removed afterwards if it is still there.
    using File = std::function<void(const std::filesystem::path&, const std::filesystem::path&)>;
};

struct Descriptor {
    std::string description;
    std::string remoteURL;
    std::filesystem::path destinationURL;
    bool skipIfExists = true;
    std::variant<TransferMode::Data, TransferMode::File> transferMode;
};

class Error : public std::runtime_error {
public:
    enum class Case { invalidResponse };

    static Error invalidResponse(const std::string& description, int statusCode);

    Case error() const { return error_; }

    int statusCode() const { return statusCode_; }

private:
    Error(Case error, int statusCode, const std::string& text);

    Case error_;
    int statusCode_;
};

// Fetches one file unless it is there, and returns its destination. Throws Error, HttpTransportError, ModelFileError
// and what the handler throws.
std::filesystem::path ensure(const Descriptor& descriptor, const DownloadUtils::DownloadConfig& download = {});

} // namespace VarnelSpeech::AssetDownloader
