#pragma once
// Move-only owners of libcurl's handles. Only this folder includes curl.

#include <utility>

#include <curl/curl.h>

namespace tessel::detail {

/// Initialises libcurl once per process, from whichever thread comes first. False when
/// libcurl could not be initialised; every later call gives the same answer.
bool ensureCurlInitialised() noexcept;

/// Owns one easy handle; empty when curl_easy_init failed.
class CurlEasy {
public:
    CurlEasy() : handle_(curl_easy_init()) {}
    ~CurlEasy() {
        if (handle_ != nullptr) curl_easy_cleanup(handle_);
    }
    CurlEasy(CurlEasy&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    CurlEasy& operator=(CurlEasy&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;

    CURL* get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

private:
    CURL* handle_;
};

/// Owns one URL handle of curl's URL parser; empty when curl_url failed.
class CurlUrl {
public:
    CurlUrl() : handle_(curl_url()) {}
    ~CurlUrl() {
        if (handle_ != nullptr) curl_url_cleanup(handle_);
    }
    CurlUrl(CurlUrl&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    CurlUrl& operator=(CurlUrl&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    CurlUrl(const CurlUrl&) = delete;
    CurlUrl& operator=(const CurlUrl&) = delete;

    CURLU* get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

private:
    CURLU* handle_;
};

/// Owns a string that libcurl allocated.
class CurlString {
public:
    CurlString() = default;
    ~CurlString() { curl_free(text_); }
    CurlString(CurlString&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    CurlString& operator=(CurlString&& other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }
    CurlString(const CurlString&) = delete;
    CurlString& operator=(const CurlString&) = delete;

    /// The slot for libcurl to fill; frees what was held before.
    char** out() noexcept {
        curl_free(std::exchange(text_, nullptr));
        return &text_;
    }
    const char* get() const noexcept { return text_; }

private:
    char* text_ = nullptr;
};

}  // namespace tessel::detail
