#include "VarnelSpeech/Inference/OnnxRuntime.h"

#include "VarnelSpeech/Inference/MLModel.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <onnxruntime_cxx_api.h>

#include <cstdlib>
#include <memory>
#include <system_error>

namespace VarnelSpeech::OnnxRuntime {
namespace {

struct CloseLibrary {
    void operator()(void* handle) const { dlclose(handle); }
};

// Empty when the library serves, else why it does not.
std::string tryOpen(const std::filesystem::path& path, Library& library) {
    std::unique_ptr<void, CloseLibrary> handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!handle) {
        const char* reason = dlerror();
        return reason == nullptr ? "unknown error" : reason;
    }
    using GetApiBase = const OrtApiBase* (*)();
    const auto getApiBase = reinterpret_cast<GetApiBase>(dlsym(handle.get(), "OrtGetApiBase"));
    const OrtApiBase* base = getApiBase == nullptr ? nullptr : getApiBase();
    if (base == nullptr)
        return "it is not ONNX Runtime";
    const OrtApi* api = base->GetApi(ORT_API_VERSION);
    if (api == nullptr)
        return fmt::format("its version {} is older than 1.{}", base->GetVersionString(), ORT_API_VERSION);
    library = {api, path, base->GetVersionString()};
    static_cast<void>(handle.release()); // threads and static objects of the runtime live to the end of the process
    return {};
}

// Never destroyed: predictions may run until the very end of the process.
struct Process {
    Library library;
    Ort::Env environment;
    std::vector<std::string> providers;
};

Process& process() {
    static Process* const process = []() -> Process* {
        // Even an empty object of the runtime's needs the interface to be there.
        Library opened = open(candidates());
        Ort::InitApi(opened.api);
        try {
            // Errors come back as exceptions; a second copy of them on standard error helps nobody.
            Ort::Env environment(ORT_LOGGING_LEVEL_FATAL, "Varnel");
            environment.DisableTelemetryEvents();
            return new Process{std::move(opened), std::move(environment), Ort::GetAvailableProviders()};
        } catch (const Ort::Exception& error) {
            throw MLModelError(fmt::format("ONNX Runtime does not start: {}", error.what()));
        }
    }();
    return *process;
}

} // namespace

std::vector<std::filesystem::path> candidates() {
    std::vector<std::filesystem::path> paths;
    const char* chosen = std::getenv("VARNEL_ONNXRUNTIME");
    if (chosen != nullptr && *chosen != '\0')
        paths.emplace_back(chosen);
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const std::filesystem::path prefix = program.parent_path().parent_path();
        for (const char* folder : {"lib/varnel", "lib/x86_64-linux-gnu/varnel", "lib/aarch64-linux-gnu/varnel"})
            paths.push_back(prefix / folder / "libonnxruntime.so.1");
    }
    paths.emplace_back(VARNEL_ONNXRUNTIME_LIBRARY);
    paths.emplace_back("libonnxruntime.so.1");
    return paths;
}

Library open(const std::vector<std::filesystem::path>& candidates) {
    std::string reasons;
    for (const std::filesystem::path& path : candidates) {
        Library library;
        const std::string reason = tryOpen(path, library);
        if (reason.empty())
            return library;
        reasons += fmt::format("{}'{}': {}", reasons.empty() ? "" : "; ", path.native(), reason);
    }
    throw MLModelError("ONNX Runtime could not be loaded (VARNEL_ONNXRUNTIME may name it): " + reasons);
}

const Library& library() {
    return process().library;
}

Ort::Env& environment() {
    return process().environment;
}

const std::vector<std::string>& availableProviders() {
    return process().providers;
}

} // namespace VarnelSpeech::OnnxRuntime
