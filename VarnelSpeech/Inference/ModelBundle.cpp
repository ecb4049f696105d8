#include "VarnelSpeech/Inference/ModelBundle.h"

#include "VarnelSpeech/Inference/FileDigest.h"
#include "VarnelSpeech/Inference/MLModel.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <system_error>

namespace VarnelSpeech {
namespace {

using nlohmann::json;

[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& reason) {
    throw MLModelError(fmt::format("cannot load model '{}': {}", path.native(), reason));
}

std::string readManifest(const std::filesystem::path& bundle) {
    const std::filesystem::path path = bundle / ModelBundle::manifestName;
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found)
        refuse(bundle, "its marker coremldata.bin is missing");
    if (error)
        refuse(bundle, "its marker coremldata.bin cannot be read: " + error.message());
    if (status.type() != std::filesystem::file_type::regular)
        refuse(bundle, "its marker coremldata.bin is not a file");
    std::ifstream stream(path, std::ios::binary);
    std::string text(ModelBundle::maxManifestSize + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (stream.bad() || !stream.eof() || text.size() > ModelBundle::maxManifestSize) {
        if (text.size() > ModelBundle::maxManifestSize)
            refuse(bundle, "its marker coremldata.bin is too large to be a manifest");
        refuse(bundle, "its marker coremldata.bin cannot be read");
    }
    return text;
}

// A relative path that stays where it is: no empty, "." or ".." component, no backslash or control character.
bool staysInside(const std::string& name) {
    if (name.empty() || std::any_of(name.begin(), name.end(), [](char c) { return c == '\\' || (c >= 0 && c < ' '); }))
        return false;
    for (std::size_t begin = 0; begin <= name.size();) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        const std::string component = name.substr(begin, end - begin);
        if (component.empty() || component == "." || component == "..")
            return false;
        begin = end + 1;
    }
    return true;
}

bool isHexSum(const std::string& text) {
    return text.size() == 64 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// Null instead of an exception for what is not there. Values are looked at in place: a copy of deeply nested ones
// would exhaust the stack.
const json& member(const json& object, const char* key) {
    static const json absent;
    const auto found = object.find(key); // the end where it is no object
    return found == object.end() ? absent : *found;
}

ModelBundle::File readFileEntry(const ModelBundle& bundle, const std::string& name, const json& entry) {
    if (!staysInside(name))
        refuse(bundle.directory, fmt::format("its manifest names the file '{}', which is not inside the bundle", name));
    const json& sum = member(entry, "sha256");
    const json& size = member(entry, "size");
    if (!sum.is_string() || !isHexSum(sum.get_ref<const std::string&>()) || !size.is_number_unsigned())
        refuse(bundle.directory, fmt::format("its manifest has no sum and size of the file '{}'", name));
    return {lowerCase(sum.get<std::string>()), size.get<std::uint64_t>()};
}

} // namespace

ModelBundle ModelBundle::read(const std::filesystem::path& directory) {
    const json manifest = json::parse(readManifest(directory), nullptr, false);
    if (!manifest.is_object())
        refuse(directory, "its marker coremldata.bin is not a JSON manifest");
    if (member(manifest, "format") != format)
        refuse(directory, fmt::format("its format is not {}", format));
    const json& version = member(manifest, "formatVersion");
    if (version != formatVersion)
        refuse(directory, fmt::format("its format version is {}, not {}",
                                      version.is_number() ? version.dump() : "missing", formatVersion));
    ModelBundle bundle;
    bundle.directory = directory;
    const json& producer = member(manifest, "producer");
    bundle.producer = producer.is_string() ? producer.get<std::string>() : std::string();
    const json& opset = member(manifest, "opset");
    bundle.opset = opset.is_number_integer() ? opset.get<int>() : 0;
    const json& files = member(manifest, "files");
    if (!files.is_object() || !files.contains(networkName))
        refuse(directory, fmt::format("its manifest does not list {}", networkName));
    for (const auto& [name, entry] : files.items())
        bundle.files.emplace(name, readFileEntry(bundle, name, entry));
    return bundle;
}

void ModelBundle::verify() const {
    for (const auto& [name, expected] : files) {
        const std::filesystem::path path = directory / name;
        std::error_code error;
        const auto status = std::filesystem::status(path, error);
        if (status.type() == std::filesystem::file_type::not_found)
            refuse(path, "the file is missing");
        if (!error && status.type() != std::filesystem::file_type::regular)
            refuse(path, "it is not a file");
        const std::uintmax_t size = error ? 0 : std::filesystem::file_size(path, error);
        if (error)
            refuse(path, error.message());
        if (size != expected.size)
            refuse(path, fmt::format("its size is {} bytes, the manifest says {}", size, expected.size));
        try {
            if (digestOfFile(path).sha256 != expected.sha256)
                refuse(path, "its SHA-256 sum differs from the manifest's");
        } catch (const std::system_error& failure) {
            refuse(path, failure.code().message());
        }
    }
}

} // namespace VarnelSpeech
