#pragma once
// Program errors (overflow, out-of-range indexes) end the process; they are never thrown.

#include <cstdio>
#include <cstdlib>

namespace tessel::detail {

[[noreturn]] inline void fatal(const char* what) {
    std::fputs("tessel: fatal program error: ", stderr);
    std::fputs(what, stderr);
    std::fputc('\n', stderr);
    std::abort();
}

}  // namespace tessel::detail
