#include <cstddef>
#include <mutex>
#include <new>

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

// Collects every option so that one failing setopt ends the request.
bool configure(CURL* curl, const std::string& url, std::chrono::milliseconds timeout,
               const CurlHttpSession::Options& options, std::string* body) {
    const long timeoutMs = timeout.count() > 0 ? static_cast<long>(timeout.count()) : 1L;
    bool ok = curl_easy_setopt(curl, CURLOPT_URL, url.c_str()) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L) == CURLE_OK;
    // Only https may be spoken, also after a redirect, and redirects are never followed.
    ok = ok && curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https") == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https") == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L) == CURLE_OK;
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
    ok = ok && curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeoutMs) == CURLE_OK;
    // Time-outs must not rely on SIGALRM: the request may run on any thread.
    ok = ok && curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendBody) == CURLE_OK;
    ok = ok && curl_easy_setopt(curl, CURLOPT_WRITEDATA, body) == CURLE_OK;
    return ok;
}

}  // namespace

std::optional<HttpResponse> CurlHttpSession::get(const std::string& url,
                                                 std::chrono::milliseconds timeout) {
    try {
        if (!detail::ensureCurlInitialised()) return std::nullopt;
        const detail::CurlEasy curl(curl_easy_init());
        if (!curl) return std::nullopt;
        HttpResponse response;
        if (!configure(curl.get(), url, timeout, options_, &response.body)) return std::nullopt;
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

}  // namespace tessel
