#include "VarnelSpeech/Shared/ModelRegistry.h"

#include "VarnelSpeech/Shared/AppLogger.h"
#include "VarnelSpeech/Shared/Environment.h"
#include "VarnelSpeech/Shared/UrlParts.h"

#include <fmt/format.h>

#include <mutex>

namespace VarnelSpeech::ModelRegistry {

namespace {

std::mutex mutex;                        // guards explicitBase
std::optional<std::string> explicitBase; // NOLINT(*-avoid-non-const-global-variables): the process's one setting

const AppLogger& logger() {
    static const AppLogger logger("ModelRegistry");
    return logger;
}

std::string checked(std::string url) {
    const auto parts = parseUrl(url);
    if (!parts || !parts->isWeb())
        throw Error::invalidURL(url);
    return url;
}

std::string proxy(const char* scheme, const char* variable) {
    const auto value = environmentValue(variable);
    if (!value)
        return {};
    const auto parts = parseUrl(*value);
    if (!parts || parts->port.empty()) {
        logger().warning(fmt::format("Invalid {} proxy URL: {}", scheme, displayUrl(*value)));
        return {};
    }
    logger().info(fmt::format("Configured {} proxy: {}", scheme, displayUrl(*value)));
    return *value;
}

bool staysInPath(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~!$&'()*+,:=@/").find(c) != std::string_view::npos;
}

} // namespace

Error Error::invalidURL(std::string_view url) {
    return {Case::invalidURL, fmt::format("Invalid URL construction: {}", url)};
}

std::string baseURL() {
    std::string url;
    {
        const std::lock_guard lock(mutex);
        if (explicitBase)
            url = *explicitBase;
    }
    if (url.empty())
        url = environmentValue("REGISTRY_URL")
                  .value_or(environmentValue("MODEL_REGISTRY_URL").value_or(std::string(publicHub)));
    while (url.ends_with('/'))
        url.pop_back();
    return url;
}

void setBaseURL(std::optional<std::string> url) {
    const std::lock_guard lock(mutex);
    explicitBase = std::move(url);
}

std::string apiModels(std::string_view repoPath, std::string_view apiPath) {
    return checked(fmt::format("{}/api/models/{}/{}", baseURL(), repoPath, apiPath));
}

std::string apiDatasets(std::string_view repoPath, std::string_view apiPath) {
    return checked(fmt::format("{}/api/datasets/{}/{}", baseURL(), repoPath, apiPath));
}

std::string resolveModel(std::string_view repoPath, std::string_view filePath) {
    return checked(fmt::format("{}/{}/resolve/main/{}", baseURL(), repoPath, filePath));
}

std::string resolveDataset(std::string_view repoPath, std::string_view filePath) {
    return checked(fmt::format("{}/datasets/{}/resolve/main/{}", baseURL(), repoPath, filePath));
}

HttpProxies configuredProxies() {
    return {.https = proxy("https", "https_proxy"), .http = proxy("http", "http_proxy")};
}

std::string escapedPath(std::string_view path) {
    std::string escaped;
    for (const char c : path) {
        if (staysInPath(c))
            escaped += c;
        else
            escaped += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return escaped;
}

} // namespace VarnelSpeech::ModelRegistry
