#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tessel/HttpSession.hpp"

#include "TestHttpsServer.hpp"

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using tessel::CurlHttpSession;
using tessel::HttpTransportError;
using tessel::test::TestHttpsServer;
using tessel::test::TestReply;

std::string contents(const fs::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

class Download : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("NO_PROXY", "127.0.0.1,localhost", 1);
        setenv("no_proxy", "127.0.0.1,localhost", 1);
        authority = std::make_unique<tessel::test::TestAuthority>();
    }
    static void TearDownTestSuite() { authority.reset(); }
    void SetUp() override {
        folder = fs::temp_directory_path() /
                 ("tessel-download-" + std::to_string(getpid()) + "-" +
                  testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    void TearDown() override { fs::remove_all(folder); }

    // A port on 127.0.0.1 that nothing listens on: bound once, then released.
    static std::string unreachableURL() {
        TestHttpsServer closed(
            *authority, [](auto&) { return TestReply{}; }, /*silent=*/true);
        std::string url = closed.url("/update.zip");
        closed.stop();
        return url;
    }

    static inline std::unique_ptr<tessel::test::TestAuthority> authority;
    CurlHttpSession session{{authority->caFile.string()}};
    fs::path folder;
};

// The body of every status lands in the file, replacing what was there; the caller judges the
// status. A body larger than curl's buffers arrives whole.
TEST_F(Download, WritesTheBodyOfAnyStatusIntoTheFile) {
    std::string large(3'000'000, '\0');
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 % 251);
    const struct {
        int status;
        std::string body;
    } cases[] = {{200, large}, {404, "not here"}, {203, ""}};
    const fs::path file = folder / "update.zip";
    std::ofstream(file) << "an older, longer download that must not survive";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.status);
        TestHttpsServer server(*authority, [&](auto&) { return TestReply{c.status, c.body, ""}; });
        EXPECT_EQ(session.download(server.url("/u.zip"), file, 60s), c.status);
        EXPECT_EQ(contents(file), c.body);
    }
}

// Mirrors answer release downloads through redirects; only https ones are followed.
TEST_F(Download, FollowsHttpsRedirectsOnly) {
    TestHttpsServer server(*authority, [](const std::string& head) {
        if (head.starts_with("GET /mirror.zip ")) return TestReply{200, "zip bytes", ""};
        if (head.starts_with("GET /plain ")) {
            return TestReply{302, "", "Location: http://127.0.0.1:1/mirror.zip\r\n"};
        }
        return TestReply{302, "", "Location: /mirror.zip\r\n"};
    });
    const fs::path file = folder / "update.zip";
    EXPECT_EQ(session.download(server.url("/u.zip"), file, 60s), 200);
    EXPECT_EQ(contents(file), "zip bytes");
    EXPECT_THROW(session.download(server.url("/plain"), file, 60s), HttpTransportError);
}

TEST_F(Download, ReportsTransportAndFileFailures) {
    const fs::path file = folder / "update.zip";
    try {
        session.download(unreachableURL(), file, 60s);
        ADD_FAILURE() << "downloaded from a closed port";
    } catch (const HttpTransportError& error) {
        EXPECT_NE(std::string(error.what()).find("127.0.0.1"), std::string::npos) << error.what();
    }
    // An authority the session does not trust is a transport failure, not a response.
    TestHttpsServer server(*authority, [](auto&) { return TestReply{200, "zip", ""}; });
    CurlHttpSession systemTrust;
    EXPECT_THROW(systemTrust.download(server.url("/u.zip"), file, 60s), HttpTransportError);
    EXPECT_THROW(session.download(server.url("/u.zip"), folder / "missing" / "u.zip", 60s),
                 fs::filesystem_error);
}

}  // namespace
