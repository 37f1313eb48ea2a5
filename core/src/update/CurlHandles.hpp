#pragma once
// libcurl for the files that talk to it: owners of its handles, and its one-time start.

#include <curl/curl.h>

#include "base/Handle.hpp"

namespace tessel::detail {

/// Initialises libcurl once per process, from whichever thread comes first. False when
/// libcurl could not be initialised; every later call gives the same answer.
bool ensureCurlInitialised() noexcept;

/// An easy handle (`curl_easy_init`); empty when it could not be made.
using CurlEasy = Handle<CURL*, curl_easy_cleanup>;
/// A handle of curl's URL parser (`curl_url`); empty when it could not be made.
using CurlUrl = Handle<CURLU*, curl_url_cleanup>;
/// A string libcurl allocated; `out()` is the slot for libcurl to fill.
using CurlString = Handle<char*, curl_free>;

}  // namespace tessel::detail
