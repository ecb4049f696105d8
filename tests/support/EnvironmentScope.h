#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace VarnelSpeech::Testing {

// Sets environment variables for a test, and puts back what was there before.
class EnvironmentScope {
public:
    EnvironmentScope() = default;

    ~EnvironmentScope() {
        for (const auto& [name, value] : before_) {
            if (value)
                ::setenv(name.c_str(), value->c_str(), 1);
            else
                ::unsetenv(name.c_str());
        }
    }

    EnvironmentScope(const EnvironmentScope&) = delete;
    EnvironmentScope& operator=(const EnvironmentScope&) = delete;

    void set(const std::string& name, const std::string& value) {
        keep(name);
        ::setenv(name.c_str(), value.c_str(), 1);
    }

    void unset(const std::string& name) {
        keep(name);
        ::unsetenv(name.c_str());
    }

private:
    void keep(const std::string& name) {
        const char* value = std::getenv(name.c_str());
        before_.try_emplace(name, value != nullptr ? std::optional<std::string>(value) : std::nullopt);
    }

    std::map<std::string, std::optional<std::string>> before_;
};

// Points the model hub's client at a server of the test's, with no token and no proxy.
class HubEnvironment : public EnvironmentScope {
public:
    explicit HubEnvironment(const std::string& hubUrl) {
        for (const char* name : {"MODEL_REGISTRY_URL", "HF_TOKEN", "HUGGING_FACE_HUB_TOKEN", "HUGGINGFACEHUB_API_TOKEN",
                                 "https_proxy", "http_proxy", "no_proxy", "NO_PROXY"})
            unset(name);
        set("REGISTRY_URL", hubUrl);
    }
};

} // namespace VarnelSpeech::Testing
