#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include "SelfUpdateSupport.hpp"
#include "update/SelfUpdater.hpp"

namespace {

namespace fs = std::filesystem;
namespace SelfUpdater = tessel::SelfUpdater;
using SelfUpdater::UpdateError;
using tessel::test::makeBundle;
using tessel::test::readText;
using tessel::test::TestFolder;
using tessel::test::writeText;

// The script run for real: a stand-in process plays the application, two stand-in bundles
// record which of them is relaunched.
class Swap : public testing::Test {
protected:
    void SetUp() override {
        tessel::test::adoptOrphans();
        fs::create_directories(folder / "tmp");
        makeBundle(newApp, "1.3", record());
    }

    fs::path record() const { return folder / "ran"; }
    SelfUpdater::Installation installation() const {
        return {dest / "Contents/bin/tessel", folder / "tmp", application.pid(), {}};
    }
    // Ends the application, then waits for the script and whatever it started.
    void quitApplication() {
        application.end();
        tessel::test::reapAllChildren();
    }

    TestFolder folder;
    fs::path newApp = folder / "unpacked/Tessel.app";
    fs::path dest = folder / "Applications/Tessel.app";
    tessel::test::StandInProcess application;
};

TEST_F(Swap, WaitsForTheApplicationThenSwapsAndRelaunchesTheNewBundle) {
    makeBundle(dest, "1.2", record());
    SelfUpdater::launchSwap(newApp, dest, installation());
    EXPECT_EQ(readText(installation().scriptLocation()),
              SelfUpdater::installerScript(application.pid()));
    // The application still runs: nothing may have moved.
    EXPECT_EQ(readText(dest / "Contents/lib/libdemo.so.1.0"), "library 1.2\n");
    EXPECT_FALSE(fs::exists(record()));

    quitApplication();
    EXPECT_EQ(readText(record()), "1.3\n");
    EXPECT_EQ(readText(dest / "Contents/lib/libdemo.so.1.0"), "library 1.3\n");
    EXPECT_EQ(fs::read_symlink(dest / "Contents/lib/libdemo.so.1"), "libdemo.so.1.0");
    EXPECT_EQ(fs::status(dest / "Contents/bin/tessel").permissions() & fs::perms::owner_exec,
              fs::perms::owner_exec);
    EXPECT_FALSE(fs::exists(folder / "Applications/Tessel.app.bak"));
}

// A copy that runs out of space half-way: whatever cp left is cleared, the old bundle is moved
// back and is the one relaunched.
TEST_F(Swap, RestoresAndRelaunchesTheOldBundleWhenTheCopyFails) {
    if (!tessel::test::privateMountNamespace())
        GTEST_SKIP() << "a full file system needs the right to mount a tmpfs (root)";
    const fs::path volume = folder / "Applications";
    tessel::test::TmpfsMount small(volume, 256u << 10);
    makeBundle(dest, "1.2", record());
    writeText(newApp / "Contents/lib/libbig.so", std::string(1u << 20, 'x'));

    SelfUpdater::launchSwap(newApp, dest, installation());
    quitApplication();
    EXPECT_EQ(readText(record()), "1.2\n");
    EXPECT_EQ(readText(dest / "Contents/lib/libdemo.so.1.0"), "library 1.2\n");
    EXPECT_FALSE(fs::exists(dest / "Contents/lib/libbig.so"));
    EXPECT_FALSE(fs::exists(volume / "Tessel.app.bak"));
}

TEST_F(Swap, ScriptThatCannotBeWrittenIsAFileError) {
    auto where = installation();
    where.temporaryDirectory = folder / "absent";
    EXPECT_THROW(SelfUpdater::launchSwap(newApp, dest, where), fs::filesystem_error);
}

}  // namespace
