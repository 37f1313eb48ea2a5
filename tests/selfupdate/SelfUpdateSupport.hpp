#pragma once
// What the self-installation tests share: folders that clean up after themselves, release
// bundles with stand-in programs, ZIP archives written with libarchive, child processes that
// are always reaped, and tmpfs mounts in a private mount namespace.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TemporaryFolder.hpp"
#include "update/BundleSigning.hpp"

extern char** environ;

namespace tessel::test {

namespace fs = std::filesystem;

inline std::string readText(const fs::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

inline void writeText(const fs::path& file, const std::string& text,
                      fs::perms mode = fs::perms(0644)) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    fs::permissions(file, mode);
}

using TestFolder = ::tessel::testing::TemporaryFolder;

/// Lays out an unsigned "Tessel.app" at `app`. Its `tessel` is a stand-in that appends
/// `version` and a line feed to `record` whenever it runs.
inline void makeBundle(const fs::path& app, const std::string& version, const fs::path& record,
                       const std::string& identifier = "com.orvane.Tessel") {
    const fs::path contents = app / "Contents";
    writeText(contents / "bin/tessel",
              "#!/bin/sh\necho " + version + " >> '" + record.string() + "'\n", fs::perms(0755));
    writeText(contents / "bin/tessel-sheet", "#!/bin/sh\nexit 0\n", fs::perms(0755));
    writeText(contents / "lib/libdemo.so.1.0", "library " + version + "\n");
    fs::create_symlink("libdemo.so.1.0", contents / "lib/libdemo.so.1");
    writeText(contents / "Info.json",
              R"({"identifier": ")" + identifier + R"(", "version": ")" + version + "\"}\n");
}

/// One entry of a ZIP archive made by a test: a file, a folder or a symbolic link (`data` is
/// the file's contents or the link's target).
struct ZipItem {
    enum class Kind { file, folder, link };
    std::string name;
    Kind kind = Kind::file;
    std::string data;
    int mode = 0644;
};

/// The items of `folder` and everything in it, named "{prefix}{relative path}", folders first.
inline std::vector<ZipItem> zipItemsOf(const fs::path& folder, const std::string& prefix) {
    std::vector<ZipItem> items{{prefix, ZipItem::Kind::folder, "", 0755}};
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = prefix + "/" + entry.path().lexically_relative(folder).string();
        const auto status = entry.symlink_status();
        const int mode = static_cast<int>(status.permissions() & fs::perms::mask);
        if (fs::is_symlink(status))
            items.push_back({name, ZipItem::Kind::link, fs::read_symlink(entry).string(), 0777});
        else if (fs::is_directory(status))
            items.push_back({name, ZipItem::Kind::folder, "", mode});
        else
            items.push_back({name, ZipItem::Kind::file, readText(entry.path()), mode});
    }
    std::sort(items.begin(), items.end(),
              [](const ZipItem& a, const ZipItem& b) { return a.name < b.name; });
    return items;
}

/// Writes `items` as a ZIP archive with libarchive and returns its bytes.
inline std::string zipBytes(const fs::path& file, const std::vector<ZipItem>& items) {
    const std::unique_ptr<archive, int (*)(archive*)> zip(archive_write_new(), archive_write_free);
    if (archive_write_set_format_zip(zip.get()) != ARCHIVE_OK ||
        archive_write_open_filename(zip.get(), file.c_str()) != ARCHIVE_OK) {
        throw std::runtime_error(archive_error_string(zip.get()));
    }
    for (const auto& item : items) {
        const std::unique_ptr<archive_entry, void (*)(archive_entry*)> entry(archive_entry_new(),
                                                                             archive_entry_free);
        archive_entry_set_pathname(entry.get(), item.name.c_str());
        archive_entry_set_perm(entry.get(), static_cast<mode_t>(item.mode));
        archive_entry_set_mtime(entry.get(), 1'700'000'000, 0);
        switch (item.kind) {
            case ZipItem::Kind::file:
                archive_entry_set_filetype(entry.get(), AE_IFREG);
                archive_entry_set_size(entry.get(), static_cast<la_int64_t>(item.data.size()));
                break;
            case ZipItem::Kind::folder: archive_entry_set_filetype(entry.get(), AE_IFDIR); break;
            case ZipItem::Kind::link:
                archive_entry_set_filetype(entry.get(), AE_IFLNK);
                archive_entry_set_symlink(entry.get(), item.data.c_str());
                break;
        }
        if (archive_write_header(zip.get(), entry.get()) != ARCHIVE_OK)
            throw std::runtime_error(archive_error_string(zip.get()));
        if (item.kind == ZipItem::Kind::file &&
            archive_write_data(zip.get(), item.data.data(), item.data.size()) < 0) {
            throw std::runtime_error(archive_error_string(zip.get()));
        }
    }
    if (archive_write_close(zip.get()) != ARCHIVE_OK)
        throw std::runtime_error(archive_error_string(zip.get()));
    return readText(file);
}

/// Every path under `folder` except `skip` and what it holds, in order: what a failed
/// unpacking must leave as it was.
inline std::vector<std::string> listing(const fs::path& folder, const fs::path& skip) {
    std::vector<std::string> paths;
    for (auto it = fs::recursive_directory_iterator(folder); it != decltype(it)(); ++it)
        if (it->path() == skip)
            it.disable_recursion_pending();
        else
            paths.push_back(it->path().lexically_relative(folder).string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

/// Makes this process the reaper of every orphan it leaves, so that the detached installer
/// script and the program it relaunches come back to the test and can be waited for.
inline void adoptOrphans() { ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }

/// Waits for every child and adopted orphan of this process to end.
inline void reapAllChildren() {
    int status = 0;
    while (::waitpid(-1, &status, 0) > 0 || errno == EINTR) {
    }
}

/// A running stand-in for the application: `sleep` until ended.
class StandInProcess {
public:
    StandInProcess() {
        char sleep[] = "/bin/sleep";
        char seconds[] = "600";
        char* argv[] = {sleep, seconds, nullptr};
        if (::posix_spawn(&pid_, sleep, nullptr, nullptr, argv, environ) != 0)
            throw std::runtime_error("could not start the stand-in process");
    }
    ~StandInProcess() { end(); }
    StandInProcess(const StandInProcess&) = delete;
    StandInProcess& operator=(const StandInProcess&) = delete;

    pid_t pid() const { return pid_; }
    /// Ends the process and reaps it, so that its identifier is gone.
    void end() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = 0;
    }

private:
    pid_t pid_ = 0;
};

/// Enters a mount namespace of this process's own (once), so that file systems the tests mount
/// vanish with the process. False when mounting is not allowed (not root).
inline bool privateMountNamespace() {
    static const bool entered = ::unshare(CLONE_NEWNS) == 0 &&
                                ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return entered;
}

/// A tmpfs of `bytes` mounted at `at` (made when missing) for the life of the object.
class TmpfsMount {
public:
    TmpfsMount(const fs::path& at, std::size_t bytes) : at_(at) {
        fs::create_directories(at);
        options_ = "size=" + std::to_string(bytes) + ",mode=0755";
        if (::mount("tmpfs", at.c_str(), "tmpfs", 0, options_.c_str()) != 0)
            throw std::runtime_error("could not mount a tmpfs at " + at.string());
    }
    ~TmpfsMount() { ::umount2(at_.c_str(), MNT_DETACH); }
    TmpfsMount(const TmpfsMount&) = delete;
    TmpfsMount& operator=(const TmpfsMount&) = delete;

    void makeReadOnly() {
        if (::mount(nullptr, at_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, options_.c_str()) != 0)
            throw std::runtime_error("could not make " + at_.string() + " read-only");
    }

private:
    fs::path at_;
    std::string options_;
};

}  // namespace tessel::test
