#include <array>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tessel/HttpSession.hpp"

#include "SelfUpdateSupport.hpp"
#include "TestHttpsServer.hpp"
#include "update/SelfUpdater.hpp"

namespace {

namespace fs = std::filesystem;
namespace signing = tessel::BundleSigning;
namespace SelfUpdater = tessel::SelfUpdater;
using SelfUpdater::UpdateError;
using tessel::test::readText;
using tessel::test::TestFolder;
using tessel::test::TestHttpsServer;
using tessel::test::TestReply;
using tessel::test::writeText;
using tessel::test::ZipItem;

// The case of the `UpdateFailure` that `install` throws, or nothing when it returns; any other
// exception fails the test.
std::optional<UpdateError> failureOf(const std::function<void()>& install) {
    try {
        install();
    } catch (const SelfUpdater::UpdateFailure& failure) {
        return failure.error();
    }
    return std::nullopt;
}

std::string describe(std::optional<UpdateError> error) {
    return error ? std::string(tessel::rawValue(*error)) : "no failure";
}

class Install : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("NO_PROXY", "127.0.0.1,localhost", 1);
        setenv("no_proxy", "127.0.0.1,localhost", 1);
        authority = std::make_unique<tessel::test::TestAuthority>();
        maker = signing::generateKeyPair();
        stranger = signing::generateKeyPair();
    }
    static void TearDownTestSuite() { authority.reset(); }

    void SetUp() override {
        installed = folder / "Applications/Tessel.app";
        fs::create_directories(folder / "tmp");
        tessel::test::makeBundle(installed, "1.2", record());
        signing::sign(installed, maker.secretKey);
    }

    fs::path record() const { return folder / "ran"; }

    SelfUpdater::Installation installation(pid_t pid = getpid()) const {
        return {installed / "Contents/bin/tessel", folder / "tmp", pid, maker.publicKey};
    }

    // A signed release bundle, made afresh at "release/Tessel.app".
    fs::path release(const std::string& version = "1.3",
                     const std::string& identifier = "com.orvane.Tessel") const {
        fs::path app = folder / "release/Tessel.app";
        fs::remove_all(folder / "release");
        tessel::test::makeBundle(app, version, record(), identifier);
        signing::sign(app, maker.secretKey);
        return app;
    }

    std::string zip(const std::vector<ZipItem>& items) const {
        return tessel::test::zipBytes(folder / "made.zip", items);
    }
    std::string zipOf(const fs::path& app, const std::string& prefix = "Tessel.app") const {
        return zip(tessel::test::zipItemsOf(app, prefix));
    }

    // Installs the update offered as `offered` from an archive served with `status`.
    std::optional<UpdateError> installServed(const std::string& archive,
                                             const std::string& offered = "1.3", int status = 200) {
        TestHttpsServer server(*authority, [&](const std::string&) {
            return TestReply{status, archive, ""};
        });
        return failureOf([&] {
            SelfUpdater::install({offered, server.url("/Tessel-1.3.zip"), ""}, session,
                                 installation());
        });
    }

    void expectInstalledUntouched() const {
        EXPECT_EQ(signing::manifest(installed, maker.publicKey),
                  readText(installed / "Contents/CodeSignature/Manifest"));
        EXPECT_FALSE(fs::exists(installation().scriptLocation()));
    }

    static inline std::unique_ptr<tessel::test::TestAuthority> authority;
    static inline signing::KeyPair maker;
    static inline signing::KeyPair stranger;
    tessel::CurlHttpSession session{{authority->caFile.string()}};
    TestFolder folder;
    fs::path installed;
};

// Each refusal after the download, in the order of the checks: what is served, what is
// offered, and the case it must end in. The installed application is never touched.
TEST_F(Install, RefusesAnythingButTheOfferedSignedRelease) {
    const auto changed = [&](const std::function<void(const fs::path&)>& change) {
        const fs::path app = release();
        change(app);
        return zipOf(app);
    };
    const struct {
        const char* what;
        std::function<std::string()> archive;
        UpdateError expected;
        const char* offered = "1.3";
        int status = 200;
    } cases[] = {
        {"status 404", [&] { return zipOf(release()); }, UpdateError::download, "1.3", 404},
        {"not a ZIP", [] { return std::string("PK\x03\x04 but nothing after"); },
         UpdateError::unpack},
        {"cut short",
         [&] {
             const std::string whole = zipOf(release());
             return whole.substr(0, whole.size() / 2);
         },
         UpdateError::unpack},
        {"empty archive", [&] { return zip({}); }, UpdateError::notFound},
        {"application in a sub-folder", [&] { return zipOf(release(), "Release/Tessel.app"); },
         UpdateError::notFound},
        {"extension in capitals", [&] { return zipOf(release(), "Tessel.APP"); },
         UpdateError::notFound},
        {"unsigned",
         [&] { return changed([](auto& a) { fs::remove_all(a / "Contents/CodeSignature"); }); },
         UpdateError::badSignature},
        // Every other way a bundle differs from what was signed is the signing tests' matter.
        {"signed by another key",
         [&] { return changed([](auto& a) { signing::sign(a, stranger.secretKey); }); },
         UpdateError::badSignature},
        // Hidden items are listed too and '.' sorts before letters: the unsigned ".Old.app"
        // is the first application, not the good Tessel.app beside it.
        {"hidden application first",
         [&] {
             auto items = tessel::test::zipItemsOf(release(), "Tessel.app");
             items.push_back({".Old.app/", ZipItem::Kind::folder, "", 0755});
             items.push_back({".Old.app/Contents/Info.json", ZipItem::Kind::file, "{}", 0644});
             return zip(items);
         },
         UpdateError::badSignature},
        {"another identifier", [&] { return zipOf(release("1.3", "com.orvane.Other")); },
         UpdateError::wrongApp},
        {"1.3.0 offered as 1.3", [&] { return zipOf(release("1.3.0")); }, UpdateError::wrongApp},
        {"information file missing",
         [&] {
             const fs::path app = release();
             fs::remove(app / "Contents/Info.json");
             signing::sign(app, maker.secretKey);
             return zipOf(app);
         },
         UpdateError::wrongApp},
        {"information file not an object",
         [&] {
             const fs::path app = release();
             writeText(app / "Contents/Info.json", R"(["com.orvane.Tessel", "1.3"])");
             signing::sign(app, maker.secretKey);
             return zipOf(app);
         },
         UpdateError::wrongApp},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto error = installServed(c.archive(), c.offered, c.status);
        EXPECT_EQ(error, c.expected) << describe(error);
        expectInstalledUntouched();
    }
}

TEST_F(Install, PassesTheTransportErrorOn) {
    std::string url;
    {
        TestHttpsServer closed(
            *authority, [](auto&) { return TestReply{}; }, /*silent=*/true);
        url = closed.url("/Tessel-1.3.zip");
    }
    EXPECT_THROW(SelfUpdater::install({"1.3", url, ""}, session, installation()),
                 tessel::HttpTransportError);
    expectInstalledUntouched();
}

// Archives that try to write outside the unpacked folder. Each fails with `unpack`, and
// nothing appears anywhere in the test's folder outside the work folder.
TEST_F(Install, RefusesEntriesThatWouldLandOutsideTheWorkFolder) {
    const std::string outside = (folder / "escaped").string();
    const struct {
        const char* what;
        std::vector<ZipItem> hostile;
    } cases[] = {
        {"climbing with ..", {{"../../../escaped", ZipItem::Kind::file, "x", 0644}}},
        {"climbing inside the bundle",
         {{"Tessel.app/Contents/../../../../../escaped", ZipItem::Kind::file, "x", 0644}}},
        {"absolute name", {{outside, ZipItem::Kind::file, "x", 0644}}},
        {"link out, then a file through it",
         {{"Tessel.app/out", ZipItem::Kind::link, "../../../..", 0777},
          {"Tessel.app/out/escaped", ZipItem::Kind::file, "x", 0644}}},
        {"absolute link, then a file through it",
         {{"Tessel.app/out", ZipItem::Kind::link, folder.path().string(), 0777},
          {"Tessel.app/out/escaped", ZipItem::Kind::file, "x", 0644}}},
        // Each link alone stays inside, but "b/up/.." climbs above the folder through "up".
        {"chain of links",
         {{"Tessel.app/b/", ZipItem::Kind::folder, "", 0755},
          {"Tessel.app/b/up", ZipItem::Kind::link, "..", 0777},
          {"Tessel.app/c", ZipItem::Kind::link, "b/up/../../../..", 0777},
          {"Tessel.app/c/escaped", ZipItem::Kind::file, "x", 0644}}},
    };
    const auto before = tessel::test::listing(folder.path(), installation().workFolder());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        // The good release comes first, so the hostile entries meet a half-unpacked folder.
        auto items = tessel::test::zipItemsOf(release(), "Tessel.app");
        items.insert(items.end(), c.hostile.begin(), c.hostile.end());
        const std::string archive = zip(items);
        fs::remove_all(folder / "release");
        fs::remove(folder / "made.zip");
        EXPECT_EQ(installServed(archive), UpdateError::unpack);
        EXPECT_EQ(tessel::test::listing(folder.path(), installation().workFolder()), before);
    }
}

// An application that cannot be replaced where it runs refuses before asking the server for
// anything.
TEST_F(Install, RefusesAReadOnlyLocationBeforeAnyRequest) {
    writeText(folder / "build/app/tessel", "", fs::perms(0755));
    tessel::test::makeBundle(folder / "Apps/Other.app", "1.2", record());
    tessel::test::makeBundle(folder / ".mount_Tessel4xQ/Tessel.app", "1.2", record());
    fs::create_directories(folder / "Links");
    fs::create_directory_symlink(installed, folder / "Links/Tessel.app");

    std::vector<std::pair<std::string, fs::path>> executables{
        {"a build tree", folder / "build/app/tessel"},
        {"a distribution package", "/usr/bin/tessel"},
        {"a bundle of another name", folder / "Apps/Other.app/Contents/bin/tessel"},
        {"an AppImage mount", folder / ".mount_Tessel4xQ/Tessel.app/Contents/bin/tessel"},
        {"a relative path", "Tessel.app/Contents/bin/tessel"},
        {"a bundle that is a link", folder / "Links/Tessel.app/Contents/bin/tessel"},
    };
    // A read-only volume, and a writable bundle inside a read-only folder (root ignores
    // permission bits, so only a read-only mount makes a folder unwritable to it).
    std::vector<std::unique_ptr<tessel::test::TmpfsMount>> mounts;
    const auto mount = [&](const fs::path& at) {
        mounts.push_back(std::make_unique<tessel::test::TmpfsMount>(at, 1u << 20));
        return mounts.back().get();
    };
    const fs::path volume = folder / "ReadOnly", locked = folder / "Locked";
    if (tessel::test::privateMountNamespace()) {
        auto* readOnly = mount(volume);
        tessel::test::makeBundle(volume / "Tessel.app", "1.2", record());
        readOnly->makeReadOnly();
        auto* lockedFolder = mount(locked);
        fs::create_directories(locked / "Tessel.app");
        lockedFolder->makeReadOnly();
        mount(locked / "Tessel.app");
        tessel::test::makeBundle(locked / "Tessel.app", "1.2", record());
        executables.emplace_back("a read-only volume", volume / "Tessel.app/Contents/bin/tessel");
    } else {
        ASSERT_NE(geteuid(), 0u) << "root without the right to mount: read-only volumes untested";
        tessel::test::makeBundle(locked / "Tessel.app", "1.2", record());
        fs::permissions(locked, fs::perms(0555));
    }
    executables.emplace_back("a folder that is not writable",
                             locked / "Tessel.app/Contents/bin/tessel");

    TestHttpsServer server(*authority, [&](const std::string& head) {
        ADD_FAILURE() << "asked for " << head;
        return TestReply{404, "", ""};
    });
    for (const auto& [what, executable] : executables) {
        SCOPED_TRACE(what);
        auto where = installation();
        where.executable = executable;
        const auto error = failureOf([&] {
            SelfUpdater::install({"1.3", server.url("/Tessel-1.3.zip"), ""}, session, where);
        });
        EXPECT_EQ(error, UpdateError::readOnlyLocation) << describe(error);
        EXPECT_FALSE(fs::exists(where.workFolder()));
    }
    EXPECT_EQ(server.connections(), 0);
}

// The whole road: download, checks, script; the stand-in for the running application ends,
// the script swaps the bundles and relaunches the new one. A stale backup is cleared first.
// The user quit while the update downloaded: a good release is not swapped in.
TEST_F(Install, AnInstallationAbandonedByQuittingInstallsNothing) {
    const std::string archive = zipOf(release("1.3"));
    TestHttpsServer server(*authority, [&](const std::string&) {
        return TestReply{200, archive, ""};
    });
    const std::atomic<bool> quit{true};
    SelfUpdater::Installation abandoned = installation();
    abandoned.abandoned = &quit;
    EXPECT_THROW(
        SelfUpdater::install({"1.3", server.url("/Tessel-1.3.zip"), ""}, session, abandoned),
        std::runtime_error);
    expectInstalledUntouched();
}

TEST_F(Install, InstallsAndRelaunchesOnceTheApplicationHasEnded) {
    tessel::test::adoptOrphans();
    const std::string archive = zipOf(release("1.3"));
    writeText(folder / "Applications/Tessel.app.bak/stale", "from an earlier update");
    writeText(installation().workFolder() / "leftover", "from an earlier installation");
    TestHttpsServer server(*authority, [&](const std::string& head) {
        EXPECT_TRUE(head.starts_with("GET /Tessel-1.3.zip HTTP/1.1\r\n")) << head;
        return TestReply{200, archive, ""};
    });
    tessel::test::StandInProcess application;
    SelfUpdater::install({"1.3", server.url("/Tessel-1.3.zip"), "Faster."}, session,
                         installation(application.pid()));

    const fs::path work = installation(application.pid()).workFolder();
    EXPECT_FALSE(fs::exists(work / "leftover"));
    EXPECT_TRUE(fs::is_regular_file(work / "update.zip"));
    EXPECT_TRUE(fs::is_directory(work / "unpacked/Tessel.app"));
    EXPECT_EQ(readText(installation(application.pid()).scriptLocation()),
              SelfUpdater::installerScript(application.pid()));

    application.end();
    tessel::test::reapAllChildren();
    EXPECT_EQ(readText(record()), "1.3\n");
    EXPECT_NO_THROW(SelfUpdater::verifySignature(installed, maker.publicKey));
    EXPECT_NO_THROW(SelfUpdater::verifyIdentity(installed, "1.3"));
    EXPECT_FALSE(fs::exists(folder / "Applications/Tessel.app.bak"));
    EXPECT_EQ(server.connections(), 1);
}

}  // namespace
