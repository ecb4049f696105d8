#include "Varnel/Platform/Linux/CurlTransfer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace Varnel {

namespace {

using Case = HttpClientError::Case;

constexpr std::size_t maximumHeaderBytes = std::size_t{256} * 1024;

// The library reads its options once; from then on every thread may use it.
void initialiseLibrary() {
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (initialised != CURLE_OK)
        throw HttpClientError(Case::other, curl_easy_strerror(initialised));
}

long milliseconds(double seconds) {
    const double value = std::ceil(seconds * 1000);
    return std::isnan(value) ? 1 : static_cast<long>(std::clamp(value, 1.0, 2147483000.0));
}

bool isSingleLine(const QByteArray& text) {
    return !text.contains('\r') && !text.contains('\n') && !text.contains('\0');
}

bool isThisMachine(const QString& host) {
    return host == QLatin1String("localhost") || host.endsWith(QLatin1String(".localhost")) ||
           host.startsWith(QLatin1String("127.")) || host == QLatin1String("::1");
}

QByteArray lowerTrimmed(std::string_view text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size())).trimmed().toLower();
}

Case caseOf(CURLcode code) {
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
        return Case::invalidRequest;
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
    default:
        return Case::other;
    }
}

// Takes an unfinished sequence of UTF-8 off the end, which a cut may have left.
void endAtCharacter(QByteArray& text) {
    qsizetype begin = text.size();
    while (begin > 0 && text.size() - begin < 3 && (static_cast<unsigned char>(text[begin - 1]) & 0xC0U) == 0x80U)
        --begin;
    if (begin > 0 && static_cast<unsigned char>(text[begin - 1]) >= 0xC0U)
        text.truncate(begin - 1);
}

} // namespace

HttpOutcome HttpOutcome::cancelled() {
    return {{}, Failure{Case::cancelled, "The request was cancelled."}};
}

HttpReply HttpOutcome::take() {
    if (failure)
        throw HttpClientError(failure->error, failure->text);
    return std::move(reply);
}

CurlTransfer::CurlTransfer(HttpRequest request)
    : request_(std::move(request)), url_(request_.url.toEncoded(QUrl::RemoveFragment)) {
    initialiseLibrary();
    easy_.reset(curl_easy_init());
    if (!easy_)
        throw std::bad_alloc();
    addHeaders();
    configure();
}

CurlTransfer::~CurlTransfer() = default;

void CurlTransfer::addHeaders() {
    // A body is sent without asking first: some servers never answer that question.
    QByteArrayList lines{"Expect:"};
    for (const HttpHeader& header : std::as_const(request_.headers)) {
        if (!isSingleLine(header.name) || !isSingleLine(header.value))
            throw HttpClientError(Case::invalidRequest, fmt::format("The value of the header '{}' is not one line.",
                                                                    header.name.toStdString()));
        lines += header.name + (header.value.isEmpty() ? QByteArray(";") : ": " + header.value);
    }
    for (const QByteArray& line : std::as_const(lines)) {
        curl_slist* longer = curl_slist_append(headers_.get(), line.constData());
        if (longer == nullptr)
            throw std::bad_alloc();
        static_cast<void>(headers_.release());
        headers_.reset(longer);
    }
}

void CurlTransfer::configure() {
    CURL* easy = easy_.get();
    curl_easy_setopt(easy, CURLOPT_URL, url_.constData());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Varnel");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_.get());
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, milliseconds(request_.timeout));
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a cancelled request does not wait for a name server
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    // The library would send a request again when a connection that it kept turns out to be dead.
    curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
    // What is meant for this machine does not leave it, whatever proxy the environment names.
    if (isThisMachine(request_.url.host()))
        curl_easy_setopt(easy, CURLOPT_PROXY, "");

    if (request_.method == "POST") {
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request_.body.constData());
    } else if (request_.method != "GET") {
        throw HttpClientError(Case::invalidRequest, "The method is neither GET nor POST.");
    }

    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText_);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlTransfer::headerCallback);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlTransfer::bodyCallback);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

std::size_t CurlTransfer::headerCallback(char* data, std::size_t size, std::size_t count, void* self) {
    const std::size_t bytes = size * count;
    return static_cast<CurlTransfer*>(self)->takeHeader({data, bytes}) ? bytes : 0;
}

std::size_t CurlTransfer::bodyCallback(char* data, std::size_t size, std::size_t count, void* self) {
    const std::size_t bytes = size * count;
    return static_cast<CurlTransfer*>(self)->takeBody({data, bytes}) ? bytes : 0;
}

bool CurlTransfer::takeHeader(std::string_view line) {
    try {
        headerBytes_ += line.size();
        if (headerBytes_ > maximumHeaderBytes) {
            end_ = End::tooLarge;
            return false;
        }
        if (line.starts_with("HTTP/")) { // an interim answer came before
            reply_.headers.clear();
        } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
            const std::string_view value = line.substr(colon + 1);
            reply_.headers[lowerTrimmed(line.substr(0, colon))] =
                QByteArray(value.data(), static_cast<qsizetype>(value.size())).trimmed();
        }
        return true;
    } catch (const std::bad_alloc&) {
        end_ = End::outOfMemory;
        return false;
    }
}

bool CurlTransfer::takeBody(std::string_view bytes) {
    if (request_.replyBody == HttpRequest::ReplyBody::ignored)
        return true;
    const bool isRefusal = status() < 200 || status() > 299;
    const std::size_t limit = isRefusal ? HttpClient::maximumRefusalBytes : HttpClient::maximumReplyBytes;
    const std::size_t room = limit - static_cast<std::size_t>(reply_.body.size());
    if (bytes.size() > room && !isRefusal) {
        end_ = End::tooLarge;
        return false;
    }
    try {
        reply_.body.append(bytes.data(), static_cast<qsizetype>(std::min(room, bytes.size())));
    } catch (const std::bad_alloc&) {
        end_ = End::outOfMemory;
        return false;
    }
    if (bytes.size() > room) {
        end_ = End::enoughKnown;
        endAtCharacter(reply_.body);
    }
    return end_ == End::byServer;
}

int CurlTransfer::status() const {
    long code = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &code);
    return code == 0 ? -1 : static_cast<int>(code);
}

HttpOutcome CurlTransfer::outcome(CURLcode code) {
    using Failure = HttpOutcome::Failure;
    if (end_ == End::tooLarge)
        return {
            {},
            Failure{Case::tooLarge, fmt::format("The reply is larger than {} bytes.", HttpClient::maximumReplyBytes)}};
    if (end_ == End::outOfMemory)
        return {{}, Failure{Case::other, curl_easy_strerror(CURLE_OUT_OF_MEMORY)}};
    if (code != CURLE_OK && end_ != End::enoughKnown)
        return {{}, Failure{caseOf(code), *errorText_ != '\0' ? errorText_ : curl_easy_strerror(code)}};
    reply_.status = status();
    return {std::move(reply_), std::nullopt};
}

} // namespace Varnel
