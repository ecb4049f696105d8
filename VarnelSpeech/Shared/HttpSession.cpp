#include "VarnelSpeech/Shared/HttpSession.h"

#include "VarnelSpeech/Shared/HttpTransfer.h"
#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/UrlParts.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <new>
#include <utility>

namespace VarnelSpeech {

namespace {

constexpr std::size_t maximumIdleConnections = 4;

class MemoryReceiver final : public HttpBodyReceiver {
public:
    MemoryReceiver(const std::string& url, std::vector<std::byte>& body, std::size_t limit)
        : url_(url), body_(body), limit_(limit) {}

    void begin(const HttpResponse& response) override {
        body_.clear();
        if (response.contentLength().value_or(0) > limit_)
            refuse();
    }

    void receive(std::span<const std::byte> bytes) override {
        if (bytes.size() > limit_ - body_.size())
            refuse();
        body_.insert(body_.end(), bytes.begin(), bytes.end());
    }

private:
    [[noreturn]] void refuse() const {
        throw HttpTransportError(HttpTransportError::Case::tooLarge,
                                 fmt::format("The answer has more than {} bytes ({})", limit_, displayUrl(url_)));
    }

    const std::string& url_;
    std::vector<std::byte>& body_;
    std::size_t limit_;
};

} // namespace

// A transfer handle with the connections that it keeps.
class HttpSession::Connection {
public:
    Connection() : easy_(curl_easy_init()), multi_(curl_multi_init()) {
        if (!easy_ || !multi_)
            throw std::bad_alloc();
    }

    HttpResponse get(const HttpRequest& request, HttpBodyReceiver& receiver, const HttpProxies& proxies) {
        HttpTransfer transfer(request, receiver);
        curl_easy_reset(easy_.get());
        transfer.configure(easy_.get(), proxies);
        const CURLcode code = perform(request);
        // The handle must not keep pointers into the transfer.
        curl_easy_reset(easy_.get());
        return transfer.finish(code);
    }

private:
    CURLcode perform(const HttpRequest& request) {
        if (curl_multi_add_handle(multi_.get(), easy_.get()) != CURLM_OK)
            throw std::bad_alloc();
        bool isCancelled = false;
        {
            // Wakes the wait below at once.
            const std::stop_callback wake(request.stop, [this] { curl_multi_wakeup(multi_.get()); });
            int running = 1;
            while (running != 0) {
                isCancelled = request.stop.stop_requested();
                if (isCancelled || curl_multi_perform(multi_.get(), &running) != CURLM_OK)
                    break;
                if (running != 0)
                    curl_multi_poll(multi_.get(), nullptr, 0, 1000, nullptr);
            }
        }
        CURLcode code = CURLE_FAILED_INIT;
        int waiting = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &waiting)) {
            if (message->msg == CURLMSG_DONE)
                code = message->data.result;
        }
        curl_multi_remove_handle(multi_.get(), easy_.get());
        if (isCancelled)
            throw HttpTransportError(HttpTransportError::Case::cancelled, "The download was cancelled.");
        return code;
    }

    template <auto free>
    struct Free {
        template <typename T>
        void operator()(T* handle) const {
            free(handle);
        }
    };

    std::unique_ptr<CURL, Free<&curl_easy_cleanup>> easy_;
    std::unique_ptr<CURLM, Free<&curl_multi_cleanup>> multi_;
};

HttpSession& HttpSession::shared() {
    static HttpSession session(ModelRegistry::configuredProxies());
    return session;
}

HttpSession::HttpSession(HttpProxies proxies) : proxies_(std::move(proxies)) {
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (initialised != CURLE_OK)
        throw HttpTransportError(HttpTransportError::Case::other, curl_easy_strerror(initialised));
}

HttpSession::~HttpSession() = default;

std::unique_ptr<HttpSession::Connection> HttpSession::take() {
    const std::lock_guard lock(mutex_);
    if (idle_.empty())
        return std::make_unique<Connection>();
    auto connection = std::move(idle_.back());
    idle_.pop_back();
    return connection;
}

void HttpSession::giveBack(std::unique_ptr<Connection> connection) {
    const std::lock_guard lock(mutex_);
    if (idle_.size() < maximumIdleConnections)
        idle_.push_back(std::move(connection));
}

HttpResponse HttpSession::get(const HttpRequest& request, HttpBodyReceiver& receiver) {
    auto connection = take();
    HttpResponse response = connection->get(request, receiver, proxies_); // one that failed is not used again
    giveBack(std::move(connection));
    return response;
}

HttpResponse HttpSession::get(const HttpRequest& request, std::vector<std::byte>& body, std::size_t limit) {
    MemoryReceiver receiver(request.url, body, limit);
    return get(request, receiver);
}

} // namespace VarnelSpeech
