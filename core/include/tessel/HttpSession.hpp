#pragma once
/// The network as the core sees it: a plain HTTPS GET that yields the status code and the body.
/// The update check takes a session so that tests and other front ends can supply their own.

#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace tessel {

/// What a server answered: the HTTP status code exactly as sent and the body bytes.
struct HttpResponse {
    long statusCode = 0;
    std::string body;

    friend bool operator==(const HttpResponse&, const HttpResponse&) = default;
};

/// A download could not be completed: no connection, a TLS failure, a stalled transfer, a
/// refused scheme or redirect. `what()` names the URL and the transport's own reason.
class HttpTransportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
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

    /// Fetches `url` with a GET request and writes the body, whatever the status, into
    /// `file` (created, or truncated when it exists), without holding it in memory. Returns
    /// the status code of the final response. Gives up when no byte has arrived for
    /// `stallTimeout`; a slow but moving transfer is never cut off. Throws
    /// `HttpTransportError` when the request could not be completed and
    /// `std::filesystem::filesystem_error` when `file` cannot be written.
    ///
    /// This default fetches through `get` (with `stallTimeout` as its total time-out) and then
    /// writes the file, for sessions that only answer `get`.
    virtual long download(const std::string& url, const std::filesystem::path& file,
                          std::chrono::milliseconds stallTimeout);

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

    /// Streams the body to `file` over HTTPS with the same verification as `get`, following
    /// up to five redirects, each of them https as well.
    long download(const std::string& url, const std::filesystem::path& file,
                  std::chrono::milliseconds stallTimeout) override;

private:
    Options options_;
};

}  // namespace tessel
