#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "base/Uuid.hpp"
#include "output/Output.hpp"

namespace tessel {
namespace detail {
namespace {

// Removes the temporary file when the write ends, however it ends; a failure to remove it
// changes nothing for the caller.
class TemporaryFile {
public:
    explicit TemporaryFile(std::filesystem::path path) : path_(std::move(path)) {}
    ~TemporaryFile() { ::unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }
    // Closing reports write-back errors that must not be missed.
    bool close() {
        const int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0;
    }

private:
    int fd_;
};

bool writeAll(int fd, const std::vector<std::uint8_t>& bytes) {
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

// A fresh name (O_EXCL) that no other writer uses; it is never visible under the final name
// while incomplete.
bool writeTemporary(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    FileDescriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)};
    if (file.get() < 0) return false;
    if (!writeAll(file.get(), bytes) || ::fsync(file.get()) != 0) return false;
    return file.close();
}

// Makes the new directory entry durable, so a finished export survives a power cut. Some
// file systems cannot sync a directory; the file itself is complete either way.
void syncFolder(const std::filesystem::path& folder) {
    FileDescriptor directory{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (directory.get() >= 0) ::fsync(directory.get());
}

bool isBlank(char32_t c) {
    switch (c) {
        case 0x09:
        case 0x0A:
        case 0x0B:
        case 0x0C:
        case 0x0D:
        case 0x20:
        case 0x85:
        case 0xA0:
        case 0x1680:
        case 0x2028:
        case 0x2029:
        case 0x202F:
        case 0x205F:
        case 0x3000: return true;
        default: return c >= 0x2000 && c <= 0x200A;
    }
}

// True when every character is white space or a line break. Bytes that are not valid
// UTF-8 count as visible characters.
bool isAllBlank(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto lead = static_cast<unsigned char>(text[at]);
        std::size_t length = lead < 0x80    ? 1
                             : lead >= 0xF0 ? 4
                             : lead >= 0xE0 ? 3
                             : lead >= 0xC0 ? 2
                                            : 0;
        if (length == 0 || at + length > text.size()) return false;
        char32_t c = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0u) != 0x80u) return false;
            c = (c << 6) | (next & 0x3Fu);
        }
        if (!isBlank(c)) return false;
        at += length;
    }
    return true;
}

}  // namespace

std::string outputBaseName(const std::string& baseName) {
    return isAllBlank(baseName) ? "Contact Sheet" : baseName;
}

void writeAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to) {
    std::error_code ignored;
    if (std::filesystem::exists(to, ignored)) throw TesselError::destinationExists();

    const std::filesystem::path folder = to.has_parent_path() ? to.parent_path() : ".";
    {
        const TemporaryFile temporary{folder / (".orvane-tessel-" + newUUIDString())};
        if (!writeTemporary(temporary.path(), bytes)) throw TesselError::cannotEncode();
        // link(2) never replaces: a file that appeared since the check above makes it fail.
        if (::link(temporary.path().c_str(), to.c_str()) != 0) {
            if (errno == EEXIST) throw TesselError::destinationExists();
            throw TesselError::cannotEncode();
        }
    }
    syncFolder(folder);
}

bool replaceAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to) {
    const std::filesystem::path folder = to.has_parent_path() ? to.parent_path() : ".";
    const TemporaryFile temporary{folder / (".orvane-tessel-" + newUUIDString())};
    if (!writeTemporary(temporary.path(), bytes)) return false;
    if (::rename(temporary.path().c_str(), to.c_str()) != 0) return false;
    syncFolder(folder);
    return true;
}

}  // namespace detail

std::vector<std::filesystem::path> TesselRenderer::write(const SheetRenderResult& result,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    const std::string name = detail::outputBaseName(baseName);
    const std::string extension{fileExtension(recipe.output)};

    if (recipe.output == SheetOutputFormat::pdf) {
        const auto file = to / (name + "." + extension);
        detail::writeAtomically(result.pdf, file);
        detail::verify(file, static_cast<std::int64_t>(result.pages.size()), result.pdfPageSize);
        return {file};
    }

    std::vector<std::filesystem::path> files;
    const std::size_t count = result.pages.size();
    for (std::size_t i = 0; i < count; ++i) {
        std::string fileName = name;
        if (count > 1) fileName.append("-").append(std::to_string(i + 1));
        fileName.append(".").append(extension);
        const auto file = to / fileName;
        detail::writeAtomically(result.pages[i], file);
        detail::verify(file, 1, result.pageSize);
        files.push_back(file);
    }
    return files;
}

}  // namespace tessel
