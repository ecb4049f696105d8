#include "VarnelSpeech/Shared/HttpTransfer.h"

#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/PrintableText.h"
#include "VarnelSpeech/Shared/UrlParts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace VarnelSpeech {

namespace {

constexpr std::size_t maximumHeaderBytes = std::size_t{256} * 1024;
constexpr std::size_t maximumRefusedBytes = std::size_t{64} * 1024;

// Seconds as a whole number of units for the library, at least 1 and within a long.
long bounded(double seconds, double unitsPerSecond) {
    const double units = std::ceil(seconds * unitsPerSecond);
    return std::isnan(units) ? 1 : static_cast<long>(std::clamp(units, 1.0, 2147483000.0));
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin);
}

HttpTransportError::Case caseOf(CURLcode code) {
    using Case = HttpTransportError::Case;
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
        return Case::invalidURL;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return Case::connectionFailed;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
        return Case::securityFailed;
    case CURLE_OPERATION_TIMEDOUT:
        return Case::timedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2_STREAM:
        return Case::connectionLost;
    case CURLE_TOO_MANY_REDIRECTS:
        return Case::redirectLoop;
    default:
        return Case::other;
    }
}

} // namespace

std::optional<std::string_view> HttpResponse::header(const std::string& name) const {
    const auto found = headers.find(name);
    if (found == headers.end())
        return std::nullopt;
    return found->second;
}

std::optional<std::uint64_t> HttpResponse::contentLength() const {
    const auto text = header("content-length");
    std::uint64_t value = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc())
        return std::nullopt;
    return value;
}

HttpTransfer::HttpTransfer(const HttpRequest& request, HttpBodyReceiver& receiver)
    : request_(request), receiver_(receiver) {}

HttpTransfer::~HttpTransfer() {
    curl_slist_free_all(headers_);
}

void HttpTransfer::configure(CURL* easy, const HttpProxies& proxies) {
    const auto url = parseUrl(request_.url);
    if (!url || !url->isWeb())
        throw HttpTransportError(HttpTransportError::Case::invalidURL,
                                 fmt::format("Not an http or https URL: '{}'", displayUrl(request_.url)));
    const bool isSecure = url->scheme == "https";

    for (const std::string& header : request_.headers)
        headers_ = curl_slist_append(headers_, header.c_str());

    curl_easy_setopt(easy, CURLOPT_URL, request_.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, isSecure ? "https" : "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, static_cast<long>(HttpSession::maximumRedirects));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Varnel/" VARNEL_VERSION);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a cancelled request does not wait for a name server
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!request_.bearerToken.empty()) {
        // The library keeps it from every other host, scheme and port that a redirect may lead to.
        curl_easy_setopt(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BEARER));
        curl_easy_setopt(easy, CURLOPT_XOAUTH2_BEARER, request_.bearerToken.c_str());
    }

    // An empty text switches the library's own reading of the environment off.
    const std::string& proxy = isSecure ? proxies.https : proxies.http;
    curl_easy_setopt(easy, CURLOPT_PROXY, proxy.c_str());

    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, bounded(request_.timeout, 1000.0));
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, bounded(request_.stallLimit, 1.0));

    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText_);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &HttpTransfer::headerCallback);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &HttpTransfer::bodyCallback);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

std::size_t HttpTransfer::headerCallback(char* data, std::size_t size, std::size_t count, void* self) {
    const std::size_t bytes = size * count;
    return static_cast<HttpTransfer*>(self)->takeHeader({data, bytes}) ? bytes : 0;
}

std::size_t HttpTransfer::bodyCallback(char* data, std::size_t size, std::size_t count, void* self) {
    const std::size_t bytes = size * count;
    return static_cast<HttpTransfer*>(self)->takeBody(std::as_bytes(std::span(data, bytes))) ? bytes : 0;
}

bool HttpTransfer::takeHeader(std::string_view line) {
    try {
        headerBytes_ += line.size();
        if (headerBytes_ > maximumHeaderBytes)
            throw HttpTransportError(HttpTransportError::Case::tooLarge,
                                     fmt::format("The answer's header is too large ({})", displayUrl(request_.url)));
        if (line.starts_with("HTTP/")) { // each redirect and each interim answer starts anew
            response_ = {};
            const auto space = line.find(' ');
            const auto code = space == std::string_view::npos ? "" : trimmed(line.substr(space)).substr(0, 3);
            std::from_chars(code.data(), code.data() + code.size(), response_.status);
            return true;
        }
        const auto colon = line.find(':');
        if (colon != std::string_view::npos && !hasBegun_)
            response_.headers[lowerCase(trimmed(line.substr(0, colon)))] = std::string(trimmed(line.substr(colon + 1)));
        return true;
    } catch (...) {
        failure_ = std::current_exception();
        return false;
    }
}

void HttpTransfer::beginOnce() {
    if (hasBegun_)
        return;
    hasBegun_ = true;
    receiver_.begin(response_);
}

bool HttpTransfer::takeBody(std::span<const std::byte> bytes) {
    try {
        if (!response_.isSuccess()) {
            refusedBytes_ += bytes.size();
            isEnough_ = refusedBytes_ > maximumRefusedBytes;
            return !isEnough_;
        }
        beginOnce();
        receiver_.receive(bytes);
        return true;
    } catch (...) {
        failure_ = std::current_exception();
        return false;
    }
}

HttpResponse HttpTransfer::finish(CURLcode code) {
    if (failure_)
        std::rethrow_exception(failure_);
    if (code != CURLE_OK && !isEnough_) {
        const std::string reason = *errorText_ != '\0' ? errorText_ : curl_easy_strerror(code);
        throw HttpTransportError(caseOf(code), fmt::format("{} ({})", printable(reason), displayUrl(request_.url)));
    }
    if (response_.isSuccess())
        beginOnce();
    return response_;
}

} // namespace VarnelSpeech
