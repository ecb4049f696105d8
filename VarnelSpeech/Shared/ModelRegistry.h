#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// Where the proxies of the HTTP session are; empty for none.
struct HttpProxies {
    std::string https;
    std::string http;
};

// The model hub's endpoints. May be used from any thread.
namespace ModelRegistry {

class Error : public std::runtime_error {
public:
    enum class Case { invalidURL };

    static Error invalidURL(std::string_view url);

    Case error() const { return error_; }

private:
    Error(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error_;
};

// The public hub, where nothing else is set.
inline constexpr std::string_view publicHub = "https://huggingface.co";

// The value set here, else "REGISTRY_URL", else "MODEL_REGISTRY_URL", else the public hub. Without a slash at its end.
std::string baseURL();

// Takes precedence over the environment; none gives the choice back to it.
void setBaseURL(std::optional<std::string> url);

// Each throws Error::invalidURL when the result is no http or https URL. Paths are taken as they are, so escape them
// first.
std::string apiModels(std::string_view repoPath, std::string_view apiPath);
std::string apiDatasets(std::string_view repoPath, std::string_view apiPath);
std::string resolveModel(std::string_view repoPath, std::string_view filePath);
std::string resolveDataset(std::string_view repoPath, std::string_view filePath);

// "https_proxy" and "http_proxy" of the environment. Logs what it takes and what it cannot use; a password in a
// proxy's URL is not logged.
HttpProxies configuredProxies();

// A path for a URL: letters, digits and -._~!$&'()*+,:=@/ stay, every other byte becomes %XX.
std::string escapedPath(std::string_view path);

} // namespace ModelRegistry

} // namespace VarnelSpeech
