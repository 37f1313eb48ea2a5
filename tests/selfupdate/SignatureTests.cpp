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

// The manifest is a defined format that release tools and older versions must agree on, so its
// exact text is checked: kinds, hashes, byte order of paths (upper case before lower case,
// "b.d" before "b/c" as '.' is 0x2E and '/' 0x2F), CodeSignature left out, empty folders not
// listed.
TEST_F(Signing, ManifestListsEveryFileInByteOrder) {
    const fs::path bundle = folder / "Small.app";
    writeText(bundle / "Contents/b/c", "abc");
    writeText(bundle / "Contents/b.d", "", fs::perms(0700));
    writeText(bundle / "Contents/B", "abc", fs::perms(0604));
    fs::create_symlink("abc", bundle / "Contents/link");
    fs::create_directories(bundle / "Contents/empty");
    writeText(bundle / "Contents/CodeSignature/Manifest", "old");
    const signing::PublicKey zeroKey{};
    EXPECT_EQ(signing::manifest(bundle, zeroKey),
              "Tessel bundle manifest 1\n"
              "team MZUHVLPYMK\n"
              "file " +
                  sha256OfABC +
                  " Contents/B\n"
                  "exec " +
                  sha256OfNothing +
                  " Contents/b.d\n"
                  "file " +
                  sha256OfABC +
                  " Contents/b/c\n"
                  "link " +
                  sha256OfABC + " Contents/link\n");
}

TEST_F(Signing, TeamIdentifierIsTenBase32CharactersOfTheKeysHash) {
    EXPECT_EQ(signing::teamIdentifier(signing::PublicKey{}), "MZUHVLPYMK");
    const std::string team = signing::teamIdentifier(maker.publicKey);
    EXPECT_EQ(team.size(), 10u);
    EXPECT_EQ(team.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"), std::string::npos);
    EXPECT_NE(team, signing::teamIdentifier(stranger.publicKey));
    EXPECT_EQ(signing::teamIdentifier(signing::makerPublicKey()), "RMLBDC3ITU");
}

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

TEST_F(Signing, KeyFilesAreHexWithOneLineFeed) {
    const fs::path secretFile = folder / "key.secret";
    const fs::path publicFile = folder / "key.pub";
    writeText(secretFile, signing::toHex(maker.secretKey.data(), maker.secretKey.size()) + "\n");
    writeText(publicFile, signing::toHex(maker.publicKey.data(), 32) + "\n");
    EXPECT_EQ(signing::readSecretKey(secretFile), maker.secretKey);
    EXPECT_EQ(signing::readPublicKey(publicFile), maker.publicKey);
    EXPECT_EQ(signing::publicKeyOf(maker.secretKey), maker.publicKey);

    const std::string good = signing::toHex(maker.publicKey.data(), 32);
    for (const std::string& bad : {good.substr(2), good + "00", "zz" + good.substr(2),
                                   good.substr(0, 62) + " 0", std::string()}) {
        writeText(publicFile, bad + "\n");
        EXPECT_THROW(signing::readPublicKey(publicFile), signing::SignatureError) << bad;
    }
    // A secret key whose public half does not belong to its seed is damaged.
    auto mangled = maker.secretKey;
    mangled[40] ^= 1;
    writeText(secretFile, signing::toHex(mangled.data(), mangled.size()) + "\n");
    EXPECT_THROW(signing::readSecretKey(secretFile), signing::SignatureError);
    EXPECT_THROW(signing::readPublicKey(folder / "absent.pub"), fs::filesystem_error);
}

}  // namespace
