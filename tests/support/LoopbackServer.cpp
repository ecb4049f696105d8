#include "support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace VarnelSpeech::Testing {

namespace {

constexpr std::size_t maximumHead = 65536;

std::string decoded(std::string_view text) {
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        unsigned value = 0;
        if (text[index] == '%' && index + 2 < text.size() &&
            std::from_chars(text.data() + index + 1, text.data() + index + 3, value, 16).ec == std::errc()) {
            result += static_cast<char>(value);
            index += 2;
        } else {
            result += text[index];
        }
    }
    return result;
}

// The path of "/path?query" or "http://host/path?query".
std::string pathOf(std::string_view target) {
    if (const auto scheme = target.find("://"); scheme != std::string_view::npos) {
        const auto slash = target.find('/', scheme + 3);
        target = slash == std::string_view::npos ? "/" : target.substr(slash);
    }
    return decoded(target.substr(0, target.find('?')));
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool receive(int socket, std::string& buffer) {
    char block[16384];
    const ssize_t bytes = ::recv(socket, block, sizeof block, 0);
    if (bytes <= 0)
        return false;
    buffer.append(block, static_cast<std::size_t>(bytes));
    return true;
}

bool parseHead(const std::string& head, LoopbackRequest& request) {
    std::size_t line = head.find("\r\n");
    const std::size_t first = head.find(' ');
    const std::size_t second = head.find(' ', first + 1);
    if (first == std::string::npos || second == std::string::npos || second > line)
        return false;
    request.method = head.substr(0, first);
    request.target = head.substr(first + 1, second - first - 1);
    request.path = pathOf(request.target);
    for (std::size_t next = 0; (line += 2) < head.size(); line = next) {
        next = head.find("\r\n", line);
        const std::size_t colon = head.find(':', line);
        if (colon == std::string::npos || colon > next)
            continue;
        const std::size_t value = head.find_first_not_of(' ', colon + 1);
        request.headers[lowerCase(head.substr(line, colon - line))] = head.substr(value, next - value);
    }
    return true;
}

} // namespace

LoopbackServer::LoopbackServer(Conversation conversation) : conversation_(std::move(conversation)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener_, 64) != 0 || ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error("LoopbackServer: no loopback port");
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
    stop();
    ::close(listener_);
}

void LoopbackServer::stop() {
    std::vector<std::thread> threads;
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        for (const int socket : sockets_)
            ::shutdown(socket, SHUT_RDWR);
    }
    ::shutdown(listener_, SHUT_RDWR);
    if (acceptor_.joinable())
        acceptor_.join();
    {
        const std::lock_guard lock(mutex_);
        threads.swap(threads_);
    }
    for (std::thread& thread : threads)
        thread.join();
}

void LoopbackServer::accept() {
    for (std::uint64_t number = 0;; ++number) {
        const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard lock(mutex_);
        if (socket < 0 || isStopping_) {
            if (socket >= 0)
                ::close(socket);
            return;
        }
        const int noDelay = 1;
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
        sockets_.insert(socket);
        threads_.emplace_back([this, socket, number] {
            conversation_(socket, number);
            const std::lock_guard ending(mutex_);
            sockets_.erase(socket);
            ::close(socket);
        });
    }
}

std::string LoopbackRequest::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

std::optional<LoopbackRequest> readRequest(int socket, std::string& buffer) {
    std::size_t end = 0;
    while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
        if (buffer.size() > maximumHead || !receive(socket, buffer) ||
            std::isalpha(static_cast<unsigned char>(buffer.front())) == 0)
            return std::nullopt;
    }
    LoopbackRequest request;
    if (!parseHead(buffer.substr(0, end + 2), request))
        return std::nullopt;
    const std::string length = request.header("content-length");
    std::size_t bodyBytes = 0;
    std::from_chars(length.data(), length.data() + length.size(), bodyBytes);
    const std::size_t whole = end + 4 + bodyBytes;
    while (buffer.size() < whole) {
        if (!receive(socket, buffer))
            return std::nullopt;
    }
    request.bytes = buffer.substr(0, whole);
    request.body = buffer.substr(end + 4, bodyBytes);
    buffer.erase(0, whole);
    return request;
}

bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

} // namespace VarnelSpeech::Testing
