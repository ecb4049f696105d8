#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace VarnelSpeech {

// A bundle directory `<Name>.mlmodelc`: the marker and manifest "coremldata.bin", the network "model.onnx", and files
// with the network's large weights if it has any. The manifest is JSON:
//   {"format": "varnel-onnx-bundle", "formatVersion": 1, "producer": "...", "opset": 13,
//    "files": {"model.onnx": {"sha256": "<hex>", "size": 1234}}}
struct ModelBundle {
    static constexpr const char* manifestName = "coremldata.bin";
    static constexpr const char* networkName = "model.onnx";
    static constexpr const char* format = "varnel-onnx-bundle";
    static constexpr int formatVersion = 1;
    static constexpr std::size_t maxManifestSize = std::size_t{1} << 20U; // bytes

    struct File {
        std::string sha256; // 64 lower-case hexadecimal digits
        std::uint64_t size = 0;
    };

    std::filesystem::path directory;
    std::string producer;              // may be empty
    int opset = 0;                     // 0 when the manifest does not say
    std::map<std::string, File> files; // by path inside the bundle, with '/'; holds "model.onnx"

    std::filesystem::path network() const { return directory / networkName; }

    // Reads the manifest and nothing else. Throws MLModelError with the bundle's path and the reason: the marker is
    // missing, unreadable, too large, no JSON, of another format or version, or names a file outside the bundle.
    static ModelBundle read(const std::filesystem::path& directory);

    // Reads every listed file and compares size and sum. Throws MLModelError with the file's path and the reason.
    void verify() const;
};

} // namespace VarnelSpeech
