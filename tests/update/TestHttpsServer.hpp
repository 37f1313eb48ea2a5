#pragma once
// A certificate authority made at test time and a small HTTPS server on 127.0.0.1 that it
// vouches for, so that the update check runs against real TLS without touching the network.

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tessel::test {

inline void require(bool ok, const char* what) {
    if (!ok) throw std::runtime_error(std::string("test TLS setup failed: ") + what);
}

/// A fresh authority (EC P-256) and a server certificate it signed for 127.0.0.1. `caFile`
/// holds the authority's certificate as PEM, for CURLOPT_CAINFO.
struct TestAuthority {
    using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
    using Cert = std::unique_ptr<X509, decltype(&X509_free)>;

    TestAuthority() {
        std::FILE* file = std::fopen(caFile.c_str(), "w");
        require(
            file != nullptr && PEM_write_X509(file, caCert.get()) == 1 && std::fclose(file) == 0,
            "PEM_write_X509");
    }
    ~TestAuthority() { std::filesystem::remove(caFile); }

    // The authority's own certificate when `issuer` is null, else the server's for 127.0.0.1.
    static Cert certificate(EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey) {
        Cert cert(X509_new(), X509_free);
        X509_set_version(cert.get(), 2);
        ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), issuer != nullptr ? 2 : 1);
        X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
        X509_gmtime_adj(X509_getm_notAfter(cert.get()), 24L * 3600);
        X509_set_pubkey(cert.get(), key);
        const char* name = issuer != nullptr ? "127.0.0.1" : "Tessel Test Authority";
        X509_NAME_add_entry_by_txt(X509_get_subject_name(cert.get()), "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
        X509* signer = issuer != nullptr ? issuer : cert.get();
        X509_set_issuer_name(cert.get(), X509_get_subject_name(signer));
        auto extend = [&](int nid, const char* value) {
            X509V3_CTX ctx{};
            X509V3_set_ctx(&ctx, signer, cert.get(), nullptr, nullptr, 0);
            X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
            require(ext != nullptr && X509_add_ext(cert.get(), ext, -1) == 1, "X509_add_ext");
            X509_EXTENSION_free(ext);
        };
        extend(NID_basic_constraints, issuer != nullptr ? "critical,CA:FALSE" : "critical,CA:TRUE");
        if (issuer != nullptr) extend(NID_subject_alt_name, "IP:127.0.0.1");
        require(X509_sign(cert.get(), issuerKey, EVP_sha256()) > 0, "X509_sign");
        return cert;
    }

    Key caKey{EVP_EC_gen("P-256"), EVP_PKEY_free};
    Cert caCert = certificate(caKey.get(), nullptr, caKey.get());
    Key serverKey{EVP_EC_gen("P-256"), EVP_PKEY_free};
    Cert serverCert = certificate(serverKey.get(), caCert.get(), caKey.get());
    std::filesystem::path caFile =
        std::filesystem::temp_directory_path() / ("tessel-ca-" + std::to_string(getpid()) + ".pem");
};

/// What the server answers to one request; `headers` are whole "Name: value\r\n" lines.
struct TestReply {
    int status = 200;
    std::string body;
    std::string headers;
};

/// Serves the handler's reply to each request head, one connection at a time, on 127.0.0.1.
/// A silent server leaves connections in the kernel's queue, never accepted or answered.
class TestHttpsServer {
public:
    using Handler = std::function<TestReply(const std::string& head)>;

    TestHttpsServer(const TestAuthority& authority, Handler handler, bool silent = false)
        : handler_(std::move(handler)) {
        std::signal(SIGPIPE, SIG_IGN);  // a client hanging up mid-answer must not end the tests
        require(context_ != nullptr &&
                    SSL_CTX_use_certificate(context_.get(), authority.serverCert.get()) == 1 &&
                    SSL_CTX_use_PrivateKey(context_.get(), authority.serverKey.get()) == 1,
                "SSL_CTX");
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* name = reinterpret_cast<sockaddr*>(&address);
        require(listenFd_ >= 0 && bind(listenFd_, name, length) == 0 && listen(listenFd_, 8) == 0 &&
                    getsockname(listenFd_, name, &length) == 0,
                "listen");
        port_ = ntohs(address.sin_port);
        if (!silent) thread_ = std::thread([this] { run(); });
    }
    ~TestHttpsServer() { stop(); }

    std::string url(const std::string& path) const {
        return "https://127.0.0.1:" + std::to_string(port_) + path;
    }
    int connections() const { return connections_; }
    /// Stops serving and resets every connection still queued; also done on destruction.
    void stop() {
        stopping_ = true;
        if (thread_.joinable()) thread_.join();
        if (listenFd_ >= 0) close(listenFd_);
        listenFd_ = -1;
    }

private:
    void run() {
        while (!stopping_) {
            pollfd waiting{listenFd_, POLLIN, 0};
            if (poll(&waiting, 1, 20) <= 0) continue;
            const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) continue;
            ++connections_;
            timeval limit{5, 0};  // a stalled client must not keep the server from stopping
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            serve(fd);
            close(fd);
        }
    }

    void serve(int fd) {
        std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context_.get()), SSL_free);
        if (ssl == nullptr || SSL_set_fd(ssl.get(), fd) != 1 || SSL_accept(ssl.get()) != 1) return;
        std::string head;
        char buffer[4096];
        while (head.find("\r\n\r\n") == std::string::npos) {
            const int got = SSL_read(ssl.get(), buffer, sizeof buffer);
            if (got <= 0) return;
            head.append(buffer, static_cast<std::size_t>(got));
        }
        const TestReply reply = handler_(head.substr(0, head.find("\r\n\r\n")));
        const std::string answer = "HTTP/1.1 " + std::to_string(reply.status) + " Test\r\n" +
                                   reply.headers +
                                   "Content-Length: " + std::to_string(reply.body.size()) +
                                   "\r\nConnection: close\r\n\r\n" + reply.body;
        SSL_write(ssl.get(), answer.data(), static_cast<int>(answer.size()));
        SSL_shutdown(ssl.get());
    }

    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_{SSL_CTX_new(TLS_server_method()),
                                                               SSL_CTX_free};
    Handler handler_;
    int listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<int> connections_{0};
    std::thread thread_;
};

}  // namespace tessel::test
