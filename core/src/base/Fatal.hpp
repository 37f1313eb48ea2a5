#pragma once
// Program errors (overflow, out-of-range indexes) end the process; they are never thrown.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace tessel::detail {

[[noreturn]] inline void fatal(const char* what) {
    std::fputs("tessel: fatal program error: ", stderr);
    std::fputs(what, stderr);
    std::fputc('\n', stderr);
    std::abort();
}

/// `value` with its fraction dropped. A value that is not finite or does not fit 64 bits is a
/// program error (`what`).
inline std::int64_t wholePart(double value, const char* what) {
    // Doubles at or above 2^63 do not fit a signed 64-bit integer.
    constexpr double int64Limit = 9223372036854775808.0;
    if (!std::isfinite(value) || value >= int64Limit || value <= -int64Limit) fatal(what);
    return static_cast<std::int64_t>(value);
}

}  // namespace tessel::detail
