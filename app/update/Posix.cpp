#include "update/Posix.hpp"

#include <cstdlib>

#include <fcntl.h>

namespace tessel::posix {

bool writeAll(int fd, std::string_view bytes) noexcept {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return true;
}

void replaceAtomically(const std::filesystem::path& to, std::string_view text) {
    std::string pattern = to.string() + ".XXXXXX";
    // mkstemp makes a fresh name with mode 0600 that no one else can have opened.
    FileDescriptor file(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!file) throwFileError("Could not create a file beside", to);
    const std::filesystem::path temporary = pattern;
    const auto fail = [&](const char* what) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throwFileError(what, to, error);
    };
    if (!writeAll(file.get(), text) || ::fsync(file.get()) != 0 || !file.close()) {
        fail("Could not write");
    }
    if (::rename(temporary.c_str(), to.c_str()) != 0) fail("Could not replace");
}

}  // namespace tessel::posix
