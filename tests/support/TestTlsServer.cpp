#include "support/TestTlsServer.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace VarnelSpeech::Testing {

class TestTlsServer::Server {
public:
    Server() : context_(SSL_CTX_new(TLS_server_method())) {
        EVP_PKEY* key = EVP_RSA_gen(2048);
        X509* certificate = X509_new();
        ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
        X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
        X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
        X509_set_pubkey(certificate, key);
        X509_NAME* name = X509_get_subject_name(certificate);
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"), -1,
                                   -1, 0);
        X509_set_issuer_name(certificate, name);
        const bool isReady = X509_sign(certificate, key, EVP_sha256()) > 0 &&
                             SSL_CTX_use_certificate(context_, certificate) == 1 &&
                             SSL_CTX_use_PrivateKey(context_, key) == 1;
        X509_free(certificate);
        EVP_PKEY_free(key);

        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (!isReady || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::listen(listener_, 8) != 0 ||
            ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            throw std::runtime_error("TestTlsServer: could not start");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { run(); });
    }

    ~Server() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
        SSL_CTX_free(context_);
    }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t port_ = 0;
    std::atomic<int> connections_ = 0;
    std::atomic<int> requests_ = 0;

private:
    void run() {
        for (;;) {
            const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0)
                return;
            ++connections_;
            SSL* tls = SSL_new(context_);
            SSL_set_fd(tls, socket);
            char buffer[4096];
            if (SSL_accept(tls) == 1 && SSL_read(tls, buffer, sizeof buffer) > 0) {
                ++requests_;
                constexpr std::string_view answer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
                SSL_write(tls, answer.data(), static_cast<int>(answer.size()));
                SSL_shutdown(tls);
            }
            SSL_free(tls);
            ::close(socket);
        }
    }

    SSL_CTX* context_;
    int listener_ = -1;
    std::thread thread_;
};

TestTlsServer::TestTlsServer() : server_(std::make_unique<Server>()) {}

TestTlsServer::~TestTlsServer() = default;

std::string TestTlsServer::url() const {
    return "https://localhost:" + std::to_string(server_->port_);
}

int TestTlsServer::connectionCount() const {
    return server_->connections_;
}

int TestTlsServer::requestCount() const {
    return server_->requests_;
}

} // namespace VarnelSpeech::Testing
