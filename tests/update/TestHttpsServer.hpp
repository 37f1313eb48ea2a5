#pragma once
// A certificate authority made at test time and a small HTTPS server on 127.0.0.1 that it
// vouches for, so that the update check runs against real TLS without touching the network.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace tessel::test {

/// A fresh authority (EC P-256) and a server certificate it signed for 127.0.0.1 and localhost.
/// The authority's certificate is written as PEM to a temporary file, removed on destruction.
class TestAuthority {
public:
    TestAuthority();
    ~TestAuthority();
    TestAuthority(const TestAuthority&) = delete;
    TestAuthority& operator=(const TestAuthority&) = delete;

    /// The PEM file holding the authority's certificate, for CURLOPT_CAINFO.
    const std::filesystem::path& caFile() const { return caFile_; }

    struct Material;
    const Material& material() const { return *material_; }

private:
    std::unique_ptr<Material> material_;
    std::filesystem::path folder_;
    std::filesystem::path caFile_;
};

/// What the server answers to one request.
struct TestReply {
    int status = 200;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
};

/// Serves one connection at a time on an ephemeral port of 127.0.0.1 from a background thread.
class TestHttpsServer {
public:
    enum class Mode {
        tls,     ///< HTTPS with the authority's server certificate
        plain,   ///< HTTP without TLS
        silent,  ///< accepts the connection and never says anything
    };
    using Handler = std::function<TestReply(const std::string& path)>;

    TestHttpsServer(const TestAuthority& authority, Handler handler, Mode mode = Mode::tls);
    ~TestHttpsServer();
    TestHttpsServer(const TestHttpsServer&) = delete;
    TestHttpsServer& operator=(const TestHttpsServer&) = delete;

    /// "https://127.0.0.1:{port}{path}" ("http://" in plain mode).
    std::string url(std::string_view path) const;
    /// The request heads received so far, each up to its blank line.
    std::vector<std::string> requests() const;
    /// How many TCP connections were accepted.
    int connections() const { return connections_.load(); }
    /// Stops serving and closes every connection still held; also done on destruction.
    void stop();

private:
    void run();
    void serveTls(int fd);
    void servePlain(int fd);
    std::string respond(const std::string& head);

    struct TlsContext;
    std::unique_ptr<TlsContext> tls_;
    Handler handler_;
    Mode mode_;
    int listenFd_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<int> connections_{0};
    std::vector<int> heldFds_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

}  // namespace tessel::test
