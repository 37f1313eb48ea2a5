#include "base/SystemCause.hpp"

#include <cerrno>
#include <cstring>

namespace tessel::detail {

std::string systemCause(int errnum) {
    // The C library's texts for the failures people meet with photographs and folders read
    // as a programmer's; these read as a sentence under the headline.
    switch (errnum) {
        case EACCES:
        case EPERM: return "Permission denied.";
        case ENOENT: return "There is no such file or folder.";
        case ENOTDIR: return "A part of its path is not a folder.";
        case EISDIR: return "It is a folder, not a file.";
        case ENOSPC: return "No space left on the device.";
        case EDQUOT: return "The disk quota is used up.";
        case EROFS: return "The file system is read-only.";
        case ENAMETOOLONG: return "The file name is too long.";
        case EFBIG: return "The file is too large for the file system.";
        case EIO: return "The device reported an input/output error.";
        case ENOMEM: return "There is not enough memory.";
        default: break;
    }
    char buffer[256] = {};
    // GNU strerror_r: the text may be in `buffer` or a static string.
    const char* text = ::strerror_r(errnum, buffer, sizeof buffer);
    return std::string(text) + ".";
}

std::string openingCause(int errnum) {
    return errnum == EINVAL ? "It is not a regular file." : systemCause(errnum);
}

std::string systemCause(const std::error_code& error) {
    if (error.category() == std::generic_category() || error.category() == std::system_category())
        return systemCause(error.value());
    return error.message() + ".";
}

}  // namespace tessel::detail
