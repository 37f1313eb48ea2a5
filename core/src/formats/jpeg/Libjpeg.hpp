#pragma once
// libjpeg(-turbo) for the JPEG encoder and decoder: an error manager that jumps back to the
// caller instead of ending the process.

// jpeglib.h needs size_t and FILE declared before it.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

namespace tessel::detail {

/// libjpeg's default error handler ends the process; this one jumps back to `jump` and
/// prints nothing (the core never logs).
struct JpegErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

[[noreturn]] inline void jumpOnError(j_common_ptr info) {
    std::longjmp(reinterpret_cast<JpegErrorManager*>(info->err)->jump, 1);
}

inline void ignoreMessage(j_common_ptr) {}

/// Sets `errors` up to jump on errors and print nothing; the result goes in the `err` field
/// of a compressor or decompressor.
inline jpeg_error_mgr* jumpingErrors(JpegErrorManager& errors) {
    jpeg_error_mgr* manager = jpeg_std_error(&errors.base);
    manager->error_exit = jumpOnError;
    manager->output_message = ignoreMessage;
    return manager;
}

}  // namespace tessel::detail
