#pragma once
/// The network as the core sees it: a plain HTTPS GET that yields the status code and the body.
/// The update check takes a session so that tests and other front ends can supply their own.

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace tessel {

/// What a server answered: the HTTP status code exactly as sent and the body bytes.
struct HttpResponse {
    long statusCode = 0;
    std::string body;

    friend bool operator==(const HttpResponse&, const HttpResponse&) = default;
};

/// A way of fetching one URL with a GET request.
class HttpSession {
public:
    virtual ~HttpSession() = default;

    /// Fetches `url` with a GET request that ignores every cache and gives up after `timeout`
    /// in total. Redirects are returned as they are, never followed. Nothing when the request
    /// could not be completed (no network, time-out, TLS failure, refused scheme); any status
    /// code the server sent is a response. Never throws.
    virtual std::optional<HttpResponse> get(const std::string& url,
                                            std::chrono::milliseconds timeout) = 0;

protected:
    HttpSession() = default;
    HttpSession(const HttpSession&) = default;
    HttpSession& operator=(const HttpSession&) = default;
};

/// The session backed by libcurl: HTTPS only, peer and host name verified, a fresh connection
/// for every request, no cookies, no conditional headers. Safe to use from several threads at
/// once; every request has its own connection.
class CurlHttpSession final : public HttpSession {
public:
    struct Options {
        /// A PEM file of trusted certificate authorities that replaces the system's bundle;
        /// empty for the system's. Tests point this at an authority made at test time.
        std::string caBundlePath;
    };

    CurlHttpSession() = default;
    explicit CurlHttpSession(Options options) : options_(std::move(options)) {}

    std::optional<HttpResponse> get(const std::string& url,
                                    std::chrono::milliseconds timeout) override;

private:
    Options options_;
};

}  // namespace tessel
