#pragma once

#include <optional>
#include <string>

namespace VarnelSpeech {

// A URL taken apart. Absent parts are empty.
struct UrlParts {
    std::string scheme; // in lower case
    std::string user;
    std::string password;
    std::string host;
    std::string port; // the scheme's own when the URL names none
    std::string path;

    bool isWeb() const { return scheme == "http" || scheme == "https"; }
};

// Nothing when the text is no absolute URL with a host.
std::optional<UrlParts> parseUrl(const std::string& url);

// The URL as messages and the log may show it: without user, password, query and fragment.
std::string displayUrl(const std::string& url);

} // namespace VarnelSpeech
