#pragma once
// The system's reason for a failed file operation, worded as the cause of a `TesselError`.

#include <string>
#include <system_error>

namespace tessel::detail {

/// One sentence with its full stop for `errnum` (an errno value): "Permission denied.",
/// "No space left on the device.", "The file name is too long."; the C library's own text
/// for the less common ones.
std::string systemCause(int errnum);

/// The cause for `openRegularFile` failing with `errnum`: its EINVAL means a FIFO, a device
/// or a socket, "It is not a regular file.".
std::string openingCause(int errnum);

/// The same for an error code of the generic or system category; its message otherwise.
std::string systemCause(const std::error_code& error);

}  // namespace tessel::detail
