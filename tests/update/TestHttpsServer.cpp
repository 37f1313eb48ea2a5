#include "TestHttpsServer.hpp"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace tessel::test {
namespace {

template <auto Free>
struct Deleter {
    template <typename T>
    void operator()(T* p) const {
        Free(p);
    }
};
using PKey = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using Cert = std::unique_ptr<X509, Deleter<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION_free>>;
using SslContext = std::unique_ptr<SSL_CTX, Deleter<SSL_CTX_free>>;
using Ssl = std::unique_ptr<SSL, Deleter<SSL_free>>;

void require(bool ok, const char* what) {
    if (!ok) throw std::runtime_error(std::string("test TLS setup failed: ") + what);
}

PKey newKey() {
    PKey key(EVP_EC_gen("P-256"));
    require(key != nullptr, "EVP_EC_gen");
    return key;
}

void addExtension(X509* cert, X509* issuer, int nid, const char* value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer, cert, nullptr, nullptr, 0);
    Extension ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value));
    require(ext != nullptr && X509_add_ext(cert, ext.get(), -1) == 1, "X509_add_ext");
}

// A certificate for `subjectKey` named `commonName`; self-signed when `issuer` is null.
Cert newCertificate(EVP_PKEY* subjectKey, const char* commonName, long serial, X509* issuer,
                    EVP_PKEY* issuerKey) {
    Cert cert(X509_new());
    require(cert != nullptr, "X509_new");
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 24L * 3600);
    require(X509_set_pubkey(cert.get(), subjectKey) == 1, "X509_set_pubkey");
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("Tessel Tests"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(commonName), -1, -1, 0);
    X509* signer = issuer != nullptr ? issuer : cert.get();
    X509_set_issuer_name(cert.get(), X509_get_subject_name(signer));
    addExtension(cert.get(), signer, NID_subject_key_identifier, "hash");
    addExtension(cert.get(), signer, NID_authority_key_identifier, "keyid:always");
    if (issuer == nullptr) {
        addExtension(cert.get(), signer, NID_basic_constraints, "critical,CA:TRUE");
        addExtension(cert.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        addExtension(cert.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
        addExtension(cert.get(), signer, NID_key_usage, "critical,digitalSignature");
        addExtension(cert.get(), signer, NID_ext_key_usage, "serverAuth");
        addExtension(cert.get(), signer, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
    }
    require(X509_sign(cert.get(), issuerKey, EVP_sha256()) > 0, "X509_sign");
    return cert;
}

}  // namespace

struct TestAuthority::Material {
    PKey caKey;
    Cert caCert;
    PKey serverKey;
    Cert serverCert;
};

TestAuthority::TestAuthority() : material_(std::make_unique<Material>()) {
    material_->caKey = newKey();
    material_->caCert = newCertificate(material_->caKey.get(), "Tessel Test Authority", 1, nullptr,
                                       material_->caKey.get());
    material_->serverKey = newKey();
    material_->serverCert = newCertificate(material_->serverKey.get(), "127.0.0.1", 2,
                                           material_->caCert.get(), material_->caKey.get());

    std::string pattern = (std::filesystem::temp_directory_path() / "tessel-ca-XXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr, "mkdtemp");
    folder_ = pattern;
    caFile_ = folder_ / "ca.pem";
    std::FILE* file = std::fopen(caFile_.c_str(), "w");
    require(file != nullptr, "fopen");
    const bool written = PEM_write_X509(file, material_->caCert.get()) == 1;
    require(std::fclose(file) == 0 && written, "PEM_write_X509");
}

TestAuthority::~TestAuthority() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

struct TestHttpsServer::TlsContext {
    SslContext context;
};

TestHttpsServer::TestHttpsServer(const TestAuthority& authority, Handler handler, Mode mode)
    : tls_(std::make_unique<TlsContext>()), handler_(std::move(handler)), mode_(mode) {
    // A client that hangs up mid-answer must not end the test process.
    std::signal(SIGPIPE, SIG_IGN);

    tls_->context.reset(SSL_CTX_new(TLS_server_method()));
    require(tls_->context != nullptr, "SSL_CTX_new");
    require(
        SSL_CTX_use_certificate(tls_->context.get(), authority.material().serverCert.get()) == 1,
        "SSL_CTX_use_certificate");
    require(SSL_CTX_use_PrivateKey(tls_->context.get(), authority.material().serverKey.get()) == 1,
            "SSL_CTX_use_PrivateKey");

    listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(listenFd_ >= 0, "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    require(bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
    require(listen(listenFd_, 8) == 0, "listen");
    socklen_t length = sizeof address;
    require(getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) == 0,
            "getsockname");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

TestHttpsServer::~TestHttpsServer() { stop(); }

void TestHttpsServer::stop() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    for (int fd : heldFds_) close(fd);
    heldFds_.clear();
    if (listenFd_ >= 0) close(listenFd_);
    listenFd_ = -1;
}

std::string TestHttpsServer::url(std::string_view path) const {
    const char* scheme = mode_ == Mode::plain ? "http" : "https";
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

std::vector<std::string> TestHttpsServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void TestHttpsServer::run() {
    while (!stopping_) {
        pollfd waiting{listenFd_, POLLIN, 0};
        if (poll(&waiting, 1, 20) <= 0) continue;
        const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        ++connections_;
        if (mode_ == Mode::silent) {
            heldFds_.push_back(fd);  // closed by stop(), never answered
            continue;
        }
        // A client that stalls must not keep the server thread from stopping.
        timeval limit{5, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        if (mode_ == Mode::tls) {
            serveTls(fd);
        } else {
            servePlain(fd);
        }
        close(fd);
    }
}

void TestHttpsServer::serveTls(int fd) {
    Ssl ssl(SSL_new(tls_->context.get()));
    if (ssl == nullptr || SSL_set_fd(ssl.get(), fd) != 1 || SSL_accept(ssl.get()) != 1) return;
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        const int got = SSL_read(ssl.get(), buffer, sizeof buffer);
        if (got <= 0) return;
        head.append(buffer, static_cast<std::size_t>(got));
    }
    const std::string answer = respond(head);
    SSL_write(ssl.get(), answer.data(), static_cast<int>(answer.size()));
    SSL_shutdown(ssl.get());
}

void TestHttpsServer::servePlain(int fd) {
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got <= 0) return;
        head.append(buffer, static_cast<std::size_t>(got));
    }
    const std::string answer = respond(head);
    [[maybe_unused]] const ssize_t sent = write(fd, answer.data(), answer.size());
}

std::string TestHttpsServer::respond(const std::string& head) {
    {
        std::lock_guard lock(mutex_);
        requests_.push_back(head.substr(0, head.find("\r\n\r\n")));
    }
    // "GET /path HTTP/1.1"
    const std::size_t pathStart = head.find(' ') + 1;
    const std::string path = head.substr(pathStart, head.find(' ', pathStart) - pathStart);
    const TestReply reply = handler_(path);
    std::string answer = "HTTP/1.1 " + std::to_string(reply.status) + " Test\r\n";
    for (const auto& [name, value] : reply.headers) {
        answer.append(name).append(": ").append(value).append("\r\n");
    }
    if (reply.status != 304) {
        answer += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    }
    answer += "Connection: close\r\n\r\n";
    if (reply.status != 304) answer += reply.body;
    return answer;
}

}  // namespace tessel::test
