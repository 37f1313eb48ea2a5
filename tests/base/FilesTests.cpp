// New files that appear whole or not at all, also when their writer is killed; reading files;
// the user's folders.

#include <csignal>
#include <cstdlib>
#include <regex>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tessel/Files.hpp"

#include "PageBitmaps.hpp"
#include "base/AtomicFile.hpp"
#include "base/Files.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using testing::readBytes, testing::TemporaryFolder, testing::writeBytes;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

std::error_code errorOf(auto action) {
    try {
        action();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

TEST(NewFile, AppearsWholeOnlyWhenPublishedAndNeverReplaces) {
    TemporaryFolder folder;
    const fs::path to = folder.path() / "upload.jpg";
    {
        NewFile file(to);
        file.write(Bytes{1, 2});
        file.write(Bytes{});
        file.write(Bytes{3, 0, 4});
        EXPECT_FALSE(fs::exists(to));
        file.publish();
    }
    EXPECT_EQ(readBytes(to), (Bytes{1, 2, 3, 0, 4}));
    {
        NewFile abandoned(folder.path() / "abandoned.jpg");
        abandoned.write(Bytes{9});
    }
    NewFile second(to);
    second.write(Bytes{5});
    EXPECT_EQ(errorOf([&] { second.publish(); }), std::errc::file_exists);
    EXPECT_EQ(readBytes(to), (Bytes{1, 2, 3, 0, 4}));
    EXPECT_EQ(folder.names(), Names{"upload.jpg"});
    EXPECT_EQ(errorOf([&] { NewFile(folder.path() / "missing" / "a.jpg"); }),
              std::errc::no_such_file_or_directory);
}

int noUnnamedFiles(const char*, int, mode_t) {
    errno = EOPNOTSUPP;
    return -1;
}

bool unnamedFilesWorkIn(const fs::path& folder) {
    const int file = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (file >= 0) ::close(file);
    return file >= 0;
}

// A writer killed in the middle of a file leaves nothing in the folder where unnamed files
// exist (ext4, tmpfs); the hidden file of the other ways would stay behind.
TEST(NewFileDeathTest, AWriterKilledMidFileLeavesNothingBehind) {
    TemporaryFolder folder;
    if (!unnamedFilesWorkIn(folder.path()))
        GTEST_SKIP() << folder.path() << " is on a file system without unnamed files (O_TMPFILE)";
    const Bytes megabyte(1 << 20, 7);
    EXPECT_EXIT(
        {
            NewFile file(folder.path() / "sheet.pdf");
            file.write(megabyte);
            std::raise(SIGKILL);
        },
        ::testing::KilledBySignal(SIGKILL), "");
    EXPECT_EQ(folder.names(), Names{});

    const detail::FileNamingCalls& systemCalls = detail::systemNamingCalls();
    const detail::FileNamingCalls hiddenOnly{noUnnamedFiles, systemCalls.linkUnnamed,
                                             systemCalls.link, systemCalls.renameNoReplace};
    EXPECT_EXIT(
        {
            detail::AtomicFile file(folder.path() / "sheet.pdf",
                                    detail::AtomicFile::Publishing::newFile, hiddenOnly);
            file.write(megabyte);
            std::raise(SIGKILL);
        },
        ::testing::KilledBySignal(SIGKILL), "");
    const Names left = folder.names();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_TRUE(std::regex_match(left[0], std::regex(R"(\.orvane-tessel-[-0-9A-F]{36})")));
}

TEST(AtomicFile, AReplacementTakesThePlaceOfTheOldFileInOneStep) {
    TemporaryFolder folder;
    const fs::path to = folder.path() / "layouts.json";
    writeBytes(to, {'o', 'l', 'd'});
    {
        detail::AtomicFile file(to, detail::AtomicFile::Publishing::replacing);
        file.write(Bytes{'n', 'e', 'w'});
        EXPECT_EQ(readBytes(to), (Bytes{'o', 'l', 'd'}));
        file.publishReplacing();
    }
    EXPECT_EQ(readBytes(to), (Bytes{'n', 'e', 'w'}));
    EXPECT_EQ(folder.names(), Names{"layouts.json"});
}

TEST(ReadFile, GivesEveryByteOrSaysWhyNot) {
    TemporaryFolder folder;
    const Bytes bytes{'a', 0, 'b', 0xFF, '\n'};
    writeBytes(folder.path() / "a.json", bytes);
    EXPECT_EQ(readFile(folder.path() / "a.json"), std::string("a\0b\xFF\n", 5));
    std::error_code error;
    EXPECT_EQ(readFile(folder.path() / "a.json", error), std::string("a\0b\xFF\n", 5));
    EXPECT_FALSE(error);
    EXPECT_EQ(readFile(folder.path() / "missing.json", error), "");
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_EQ(readFile(folder.path(), error), "");
    EXPECT_EQ(error, std::errc::is_a_directory);
    try {
        readFile(folder.path() / "missing.json");
        ADD_FAILURE() << "read a missing file";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find("missing.json"), std::string::npos) << e.what();
    }
}

// Sets an environment variable (null unsets it) for the life of the object.
struct ScopedVariable {
    ScopedVariable(const char* name, const char* value) : variable(name) {
        if (const char* was = std::getenv(name)) old = was;
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~ScopedVariable() { old ? ::setenv(variable, old->c_str(), 1) : ::unsetenv(variable); }
    const char* variable;
    std::optional<std::string> old;
};

TEST(UserFolders, FollowTheBaseDirectoryVariablesWhenTheyAreAbsolute) {
    const ScopedVariable home("HOME", "/home/ada");
    const struct {
        const char* value;
        fs::path cache, data;
    } cases[] = {{nullptr, "/home/ada/.cache", "/home/ada/.local/share"},
                 {"", "/home/ada/.cache", "/home/ada/.local/share"},
                 {"relative/folder", "/home/ada/.cache", "/home/ada/.local/share"},
                 {"/srv/xdg", "/srv/xdg", "/srv/xdg"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value ? c.value : "unset");
        const ScopedVariable cache("XDG_CACHE_HOME", c.value);
        const ScopedVariable data("XDG_DATA_HOME", c.value);
        EXPECT_EQ(userCacheFolder(), c.cache);
        EXPECT_EQ(detail::userDataFolder(), c.data);
    }
}

}  // namespace
}  // namespace tessel
