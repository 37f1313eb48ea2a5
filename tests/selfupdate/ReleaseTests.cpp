#include <array>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "SelfUpdateSupport.hpp"
#include "update/SelfUpdater.hpp"
#include "update/Unpack.hpp"

namespace {

namespace fs = std::filesystem;
namespace signing = tessel::BundleSigning;
using tessel::test::readText;
using tessel::test::TestFolder;
using tessel::test::writeText;

struct Outcome {
    int status = -1;
    std::string output;  ///< standard output and error together
};

Outcome runCommand(const std::string& command) {
    Outcome outcome;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return outcome;
    std::array<char, 4096> buffer{};
    while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe))
        outcome.output.append(buffer.data(), got);
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

// scripts/release/make-release.sh on a build folder holding the real tessel-sheet and
// tessel-sign, with a stand-in for the application program.
class Release : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(build / "cli");
        fs::create_directories(build / "app/update");
        fs::copy_file(TESSEL_SHEET_PROGRAM, build / "cli/tessel-sheet");
        fs::copy_file(TESSEL_SIGN_PROGRAM, build / "app/update/tessel-sign");
        const auto keys = signing::generateKeyPair();
        writeText(secretKey, signing::toHex(keys.secretKey.data(), keys.secretKey.size()) + "\n",
                  fs::perms(0600));
        writeText(publicKey, signing::toHex(keys.publicKey.data(), keys.publicKey.size()) + "\n");
        key = keys.publicKey;
    }

    Outcome makeRelease(const std::string& extra = "") const {
        return runCommand(std::string(TESSEL_SOURCE_DIR) + "/scripts/release/make-release.sh" +
                          " --build " + quoted(build) + " --key " + quoted(secretKey) +
                          " --public-key " + quoted(publicKey) + " --out " + quoted(out) +
                          " --version 0.2 --url https://127.0.0.1:8443/Tessel-0.2.zip" +
                          " --notes 'Faster \"sheets\".' " + extra);
    }

    TestFolder folder;
    fs::path build = folder / "build";
    fs::path out = folder / "out";
    fs::path secretKey = folder / "keys/release.secret";
    fs::path publicKey = folder / "keys/release.pub";
    signing::PublicKey key{};
};

// The archive unpacks, with the installer's own unpacking, to one signed Tessel.app of the
// release's version whose programs find their libraries beside them; the manifest offers it.
TEST_F(Release, LaysOutSignsZipsAndDescribesTheBundle) {
    writeText(build / "app/shell/tessel", readText("/bin/true"), fs::perms(0755));
    const auto outcome = makeRelease();
    ASSERT_EQ(outcome.status, 0) << outcome.output;

    const fs::path unpacked = folder / "unpacked";
    fs::create_directories(unpacked);
    tessel::SelfUpdater::detail::unpackZip(out / "Tessel-0.2.zip", unpacked);
    std::vector<std::string> top;
    for (const auto& item : fs::directory_iterator(unpacked))
        top.push_back(item.path().filename().string());
    EXPECT_EQ(top, std::vector<std::string>{"Tessel.app"});
    const fs::path app = unpacked / "Tessel.app";
    EXPECT_NO_THROW(tessel::SelfUpdater::verifySignature(app, key));
    EXPECT_NO_THROW(tessel::SelfUpdater::verifyIdentity(app, "0.2"));
    for (const char* program : {"tessel", "tessel-sheet"}) {
        SCOPED_TRACE(program);
        const auto dynamic = runCommand("readelf -d " + quoted(app / "Contents/bin" / program));
        EXPECT_NE(dynamic.output.find("(RUNPATH)            Library runpath: [$ORIGIN/../lib]"),
                  std::string::npos)
            << dynamic.output;
    }
    // Stripped and patched, the tool still runs from inside the bundle.
    const auto version = runCommand(quoted(app / "Contents/bin/tessel-sheet") + " --version");
    EXPECT_EQ(version.status, 0) << version.output;
    EXPECT_TRUE(version.output.starts_with("tessel-sheet ")) << version.output;

    EXPECT_EQ(nlohmann::json::parse(readText(out / "tessel/latest.json")),
              (nlohmann::json{{"version", "0.2"},
                              {"url", "https://127.0.0.1:8443/Tessel-0.2.zip"},
                              {"notes", "Faster \"sheets\"."}}));
}

}  // namespace
