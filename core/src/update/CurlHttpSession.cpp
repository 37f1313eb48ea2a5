#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <new>
#include <system_error>

#include <curl/curl.h>

#include "tessel/HttpSession.hpp"

#include "update/CurlHandles.hpp"

namespace tessel {
namespace detail {

bool ensureCurlInitialised() noexcept {
    // curl_global_init is not safe to run concurrently with itself on every libcurl version.
    static std::once_flag once;
    static bool initialised = false;
    try {
        std::call_once(once,
                       [] { initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
    } catch (...) {
        return false;
    }
    return initialised;
}

}  // namespace detail

namespace {

std::size_t appendBody(char* data, std::size_t size, std::size_t count, void* target) {
    const std::size_t bytes = size * count;
    try {
        static_cast<std::string*>(target)->append(data, bytes);
    } catch (const std::bad_alloc&) {
        return 0;  // a short count makes curl abort the transfer
    }
    return bytes;
}

// The file a download streams into, and the first write error it met.
struct DownloadTarget {
    std::FILE* file = nullptr;
    int writeError = 0;
};

std::size_t writeBody(char* data, std::size_t size, std::size_t count, void* target) {
    auto* download = static_cast<DownloadTarget*>(target);
    const std::size_t bytes = size * count;
    if (std::fwrite(data, 1, bytes, download->file) != bytes) {
        download->writeError = errno != 0 ? errno : EIO;
        return 0;  // a short count makes curl abort the transfer
    }
    return bytes;
}

// The options every request shares; one failing setopt ends the request.
bool configureSecure(CURL* curl, const std::string& url, const CurlHttpSession::Options& options) {
    bool ok = curl_easy_setopt(curl, CURLOPT_URL, url.c_str()) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L) == CURLE_OK;
    // Only https may be spoken, also after a redirect.
    ok = ok && curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https") == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https") == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L) == CURLE_OK;
    if (!options.caBundlePath.empty()) {
        ok = ok && curl_easy_setopt(curl, CURLOPT_CAINFO, options.caBundlePath.c_str()) == CURLE_OK;
    }
    // Nothing is reused or remembered between requests: no connection, no cookies, no TLS
    // session, so each answer comes from the server as it is now.
    ok = ok && curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, 1L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_SSL_SESSIONID_CACHE, 0L) == CURLE_OK;
    // Time-outs must not rely on SIGALRM: the request may run on any thread.
    ok = ok && curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L) == CURLE_OK;
    return ok;
}

bool configureGet(CURL* curl, const std::string& url, std::chrono::milliseconds timeout,
                  const CurlHttpSession::Options& options, std::string* body) {
    const long timeoutMs = timeout.count() > 0 ? static_cast<long>(timeout.count()) : 1L;
    bool ok = configureSecure(curl, url, options);
    ok = ok && curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeoutMs) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendBody) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_WRITEDATA, body) == CURLE_OK;
    return ok;
}

bool configureDownload(CURL* curl, const std::string& url, std::chrono::milliseconds stallTimeout,
                       const CurlHttpSession::Options& options, DownloadTarget* target,
                       char* errorText) {
    // curl measures stalls in whole seconds: at least one byte per `stallTimeout`.
    const long stallSeconds =
        stallTimeout.count() >= 1000 ? static_cast<long>(stallTimeout.count() / 1000) : 1L;
    const long stallMs = stallSeconds * 1000;
    bool ok = configureSecure(curl, url, options);
    ok = ok && curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorText) == CURLE_OK;
    // Release archives are often served through a redirect to a mirror.
    ok = ok && curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, stallMs) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, stallSeconds) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, writeBody) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_WRITEDATA, target) == CURLE_OK;
    return ok;
}

[[noreturn]] void throwWriteError(const std::filesystem::path& file, int error) {
    throw std::filesystem::filesystem_error("Could not write the download", file,
                                            std::error_code(error, std::generic_category()));
}

}  // namespace

std::optional<HttpResponse> CurlHttpSession::get(const std::string& url,
                                                 std::chrono::milliseconds timeout) {
    try {
        if (!detail::ensureCurlInitialised()) return std::nullopt;
        const detail::CurlEasy curl(curl_easy_init());
        if (!curl) return std::nullopt;
        HttpResponse response;
        if (!configureGet(curl.get(), url, timeout, options_, &response.body)) return std::nullopt;
        if (curl_easy_perform(curl.get()) != CURLE_OK) return std::nullopt;
        if (curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &response.statusCode) !=
            CURLE_OK) {
            return std::nullopt;
        }
        return response;
    } catch (...) {
        return std::nullopt;
    }
}

long CurlHttpSession::download(const std::string& url, const std::filesystem::path& file,
                               std::chrono::milliseconds stallTimeout) {
    if (!detail::ensureCurlInitialised()) throw HttpTransportError("libcurl could not start");
    const detail::CurlEasy curl(curl_easy_init());
    if (!curl) throw HttpTransportError("libcurl could not start");

    const detail::StdioFile out(std::fopen(file.c_str(), "wb"));
    if (!out) throwWriteError(file, errno);
    DownloadTarget target{out.get(), 0};
    char errorText[CURL_ERROR_SIZE] = {};
    if (!configureDownload(curl.get(), url, stallTimeout, options_, &target, errorText)) {
        throw HttpTransportError("Could not set up the download of " + url);
    }
    const CURLcode result = curl_easy_perform(curl.get());
    if (target.writeError != 0) throwWriteError(file, target.writeError);
    if (result != CURLE_OK) {
        const std::string reason = errorText[0] != '\0' ? errorText : curl_easy_strerror(result);
        throw HttpTransportError("Could not download " + url + ": " + reason);
    }
    long status = 0;
    if (curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK) {
        throw HttpTransportError("No response code for " + url);
    }
    if (std::fflush(out.get()) != 0) throwWriteError(file, errno);
    return status;
}

}  // namespace tessel
