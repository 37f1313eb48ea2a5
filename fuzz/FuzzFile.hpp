#pragma once
// The fuzzer's bytes as a file, for the parts of the core that read files by name: an
// in-memory file (memfd) reached through /proc/self/fd, so no fuzzing run touches the disk.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace tessel::fuzz {

class FuzzFile {
public:
    FuzzFile(const std::uint8_t* data, std::size_t size)
        : descriptor_(::memfd_create("fuzz", MFD_CLOEXEC)) {
        if (descriptor_ < 0) std::abort();
        for (std::size_t done = 0; done < size;) {
            const ssize_t wrote = ::write(descriptor_, data + done, size - done);
            if (wrote <= 0) std::abort();
            done += static_cast<std::size_t>(wrote);
        }
    }
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;
    ~FuzzFile() { ::close(descriptor_); }

    std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

}  // namespace tessel::fuzz
