#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct OrtApi;

namespace Ort {
struct Env;
}

// The inference runtime's shared library. It is loaded, never linked, so that a newer one than the headers serves.
namespace VarnelSpeech::OnnxRuntime {

// Where the library is looked for, in this order: what the environment variable VARNEL_ONNXRUNTIME names; the
// installed place relative to the program; the place known at build time; the loader's own search.
std::vector<std::filesystem::path> candidates();

struct Library {
    const OrtApi* api = nullptr;
    std::filesystem::path path;
    std::string version; // "1.30.0"
};

// Opens the first candidate that can be loaded and offers the API of the headers; it stays open. Throws MLModelError
// with the reason of each.
Library open(const std::vector<std::filesystem::path>& candidates);

// The library and the environment of this process, opened on first use from any thread. Throws MLModelError.
const Library& library();
Ort::Env& environment();

// The execution providers that the library was built with, such as "CPUExecutionProvider". Throws MLModelError.
const std::vector<std::string>& availableProviders();

} // namespace VarnelSpeech::OnnxRuntime
