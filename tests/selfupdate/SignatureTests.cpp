#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "SelfUpdateSupport.hpp"
#include "update/BundleSigning.hpp"

namespace {

namespace fs = std::filesystem;
namespace signing = tessel::BundleSigning;
using tessel::test::makeBundle;
using tessel::test::readText;
using tessel::test::TestFolder;
using tessel::test::writeText;

const std::string sha256OfABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string sha256OfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

class Signing : public testing::Test {
protected:
    static void SetUpTestSuite() {
        maker = signing::generateKeyPair();
        stranger = signing::generateKeyPair();
    }
    void SetUp() override {
        app = folder / "Tessel.app";
        makeBundle(app, "1.3", folder / "ran");
    }

    static inline signing::KeyPair maker;
    static inline signing::KeyPair stranger;
    TestFolder folder;
    fs::path app;
};

// Every way a bundle can differ from what its maker signed, each alone. That the installer
// turns this into `badSignature` is InstallTests'.
TEST_F(Signing, VerifiesOnlyTheBundleExactlyAsSigned) {
    const struct {
        const char* what;
        std::function<void(const fs::path&)> change;
    } cases[] = {
        {"a file changed", [](auto& a) { writeText(a / "Contents/lib/libdemo.so.1.0", "x"); }},
        {"a file added", [](auto& a) { writeText(a / "Contents/lib/extra.so", "x"); }},
        {"a hidden file added", [](auto& a) { writeText(a / ".DS_Store", ""); }},
        {"a file missing", [](auto& a) { fs::remove(a / "Contents/bin/tessel-sheet"); }},
        {"execute bit dropped",
         [](auto& a) { fs::permissions(a / "Contents/bin/tessel", fs::perms(0644)); }},
        {"execute bit added",
         [](auto& a) { fs::permissions(a / "Contents/Info.json", fs::perms(0744)); }},
        {"a link retargeted",
         [](auto& a) {
             fs::remove(a / "Contents/lib/libdemo.so.1");
             fs::create_symlink("libother.so", a / "Contents/lib/libdemo.so.1");
         }},
        {"a file swapped for a link to it",
         [](auto& a) {
             fs::rename(a / "Contents/Info.json", a / "Contents/lib/Info.json");
             fs::create_symlink("lib/Info.json", a / "Contents/Info.json");
         }},
        {"an extra file beside the signature",
         [](auto& a) { writeText(a / "Contents/CodeSignature/Notes", ""); }},
        {"signature cut short",
         [](auto& a) { fs::resize_file(a / "Contents/CodeSignature/Signature", 63); }},
        {"manifest edited",
         [](auto& a) {
             auto text = readText(a / "Contents/CodeSignature/Manifest");
             writeText(a / "Contents/CodeSignature/Manifest", text + "file x y\n");
         }},
        {"unsigned", [](auto& a) { fs::remove_all(a / "Contents/CodeSignature"); }},
        {"signature folder is a link",
         [](auto& a) {
             fs::rename(a / "Contents/CodeSignature", a / "Contents/Sig");
             fs::create_directory_symlink("Sig", a / "Contents/CodeSignature");
         }},
    };
    signing::sign(app, maker.secretKey);
    ASSERT_NO_THROW(signing::verify(app, maker.publicKey));
    EXPECT_THROW(signing::verify(app, stranger.publicKey), signing::SignatureError)
        << "verified under another key";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        fs::remove_all(app);
        makeBundle(app, "1.3", folder / "ran");
        signing::sign(app, maker.secretKey);
        c.change(app);
        EXPECT_THROW(signing::verify(app, maker.publicKey), signing::SignatureError);
    }
}

// The message names what differs, so that a broken release can be told from a tampered one.
TEST_F(Signing, FailureNamesTheFirstDifference) {
    signing::sign(app, maker.secretKey);
    writeText(app / "Contents/bin/tessel-sheet", "changed", fs::perms(0755));
    fs::remove(app / "Contents/lib/libdemo.so.1.0");
    try {
        signing::verify(app, maker.publicKey);
        ADD_FAILURE() << "verified";
    } catch (const signing::SignatureError& error) {
        EXPECT_STREQ(error.what(), "Contents/bin/tessel-sheet changed");
    }
}

// What could point out of the bundle after it is copied elsewhere, or is not a plain file,
// cannot be signed at all.
TEST_F(Signing, RefusesToSignLinksThatMayPointOutAndSpecialFiles) {
    const struct {
        const char* what;
        std::function<void(const fs::path&)> add;
    } cases[] = {
        {"absolute link", [](auto& a) { fs::create_symlink("/etc/passwd", a / "Contents/p"); }},
        {"link climbing out", [](auto& a) { fs::create_symlink("../../x", a / "Contents/x"); }},
        {"link climbing inside",
         [](auto& a) { fs::create_symlink("../Contents/Info.json", a / "Contents/lib/i"); }},
        {"named pipe", [](auto& a) { ::mkfifo((a / "Contents/pipe").c_str(), 0644); }},
        {"line feed in a name", [](auto& a) { writeText(a / "Contents/a\nb", ""); }},
        {"Contents a link",
         [](auto& a) {
             fs::rename(a / "Contents", a / "Real");
             fs::create_directory_symlink("Real", a / "Contents");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        fs::remove_all(app);
        makeBundle(app, "1.3", folder / "ran");
        c.add(app);
        EXPECT_THROW(signing::sign(app, maker.secretKey), signing::SignatureError);
    }
}

}  // namespace
