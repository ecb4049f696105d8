#include "VarnelSpeech/Shared/UrlParts.h"

#include "VarnelSpeech/Shared/PrintableText.h"

#include <curl/curl.h>

#include <memory>

namespace VarnelSpeech {

namespace {

std::string part(CURLU* url, CURLUPart which, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, flags) != CURLUE_OK || text == nullptr)
        return {};
    std::string result = text;
    curl_free(text);
    return result;
}

} // namespace

std::optional<UrlParts> parseUrl(const std::string& text) {
    // The library would make up for missing and surplus slashes.
    const std::size_t authority = text.find("://");
    if (text.find('\0') != std::string::npos || authority == std::string::npos ||
        text.substr(authority + 3).starts_with('/'))
        return std::nullopt;
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
    if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
        return std::nullopt;
    UrlParts parts;
    parts.scheme = part(url.get(), CURLUPART_SCHEME);
    parts.user = part(url.get(), CURLUPART_USER);
    parts.password = part(url.get(), CURLUPART_PASSWORD);
    parts.host = part(url.get(), CURLUPART_HOST);
    parts.port = part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    parts.path = part(url.get(), CURLUPART_PATH);
    if (parts.scheme.empty() || parts.host.empty())
        return std::nullopt;
    return parts;
}

std::string displayUrl(const std::string& url) {
    std::string shown = url.substr(0, url.find_first_of("?#"));
    const std::size_t authority = shown.find("://");
    if (authority != std::string::npos) {
        const std::size_t begin = authority + 3;
        const std::size_t end = std::min(shown.find('/', begin), shown.size());
        const std::size_t at = shown.rfind('@', end);
        if (at != std::string::npos && at >= begin && at < end)
            shown.erase(begin, at + 1 - begin);
    }
    return printable(shown);
}

} // namespace VarnelSpeech
