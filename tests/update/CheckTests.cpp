#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <ostream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tessel/Updater.hpp"

#include "TestHttpsServer.hpp"

namespace tessel {
void PrintTo(const UpdateInfo& info, std::ostream* out) {
    *out << "{" << info.version << ", " << info.downloadURL << ", " << info.notes << "}";
}
}  // namespace tessel

namespace {

using namespace std::chrono_literals;
using tessel::CurlHttpSession;
using tessel::UpdateInfo;
using tessel::test::TestHttpsServer;
using tessel::test::TestReply;
namespace Updater = tessel::Updater;

const std::string manifestPath = "/tessel/latest.json";
const std::string archive = "https://a.example/T.zip";
const UpdateInfo offered{"1.3", archive, "Faster."};

std::string manifest(const std::string& version, const std::string& url = archive) {
    return R"({"version": ")" + version + R"(", "url": ")" + url + R"(", "notes": "Faster."})";
}

TestReply newer(const std::string&) { return {200, manifest("1.3"), ""}; }

class UpdateCheck : public testing::Test {
protected:
    static void SetUpTestSuite() {
        // A proxy configured on the machine must not stand between curl and 127.0.0.1.
        setenv("NO_PROXY", "127.0.0.1,localhost", 1);
        setenv("no_proxy", "127.0.0.1,localhost", 1);
        authority = std::make_unique<tessel::test::TestAuthority>();
    }
    static void TearDownTestSuite() { authority.reset(); }

    static inline std::unique_ptr<tessel::test::TestAuthority> authority;
    CurlHttpSession session{{authority->caFile.string()}};
};

TEST_F(UpdateCheck, AcceptsOnlyAValidNewerManifestWithStatus200) {
    const struct {
        const char* what;
        int status;
        std::string body;
        std::optional<UpdateInfo> expected;
        const char* running = "1.2";
    } cases[] = {
        {"newer version", 200, manifest("1.3"), offered},
        {"newer patch level", 200, manifest("1.2.1"), UpdateInfo{"1.2.1", archive, "Faster."}},
        {"no notes, other members", 200,
         R"({"size": 1, "version": "1.3", "url": ")" + archive + "\"}",
         UpdateInfo{"1.3", archive, ""}},
        {"status 203", 203, manifest("1.3"), std::nullopt},
        {"status 304", 304, "", std::nullopt},
        {"status 404", 404, manifest("1.3"), std::nullopt},
        {"equal version", 200, manifest("1.2"), std::nullopt},
        {"older version", 200, manifest("1.1"), std::nullopt},
        {"running Development", 200, manifest("99"), std::nullopt, "Development"},
        {"truncated JSON", 200, R"({"version": "1.3", "url": ")", std::nullopt},
        {"top level array", 200, "[" + manifest("1.3") + "]", std::nullopt},
        {"version a number", 200, R"({"version": 1.3, "url": ")" + archive + "\"}", std::nullopt},
        {"url missing", 200, R"({"version": "1.3"})", std::nullopt},
        {"url plain http", 200, manifest("1.3", "http://a.example/T.zip"), std::nullopt},
        {"url scheme in capitals", 200, manifest("1.3", "HTTPS://a.example/T.zip"), std::nullopt},
        {"url without host", 200, manifest("1.3", "https:///T.zip"), std::nullopt},
        {"url not a URL", 200, manifest("1.3", "https://a example/T.zip"), std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TestHttpsServer server(*authority, [&](auto&) { return TestReply{c.status, c.body, ""}; });
        EXPECT_EQ(Updater::check(server.url(manifestPath), c.running, session), c.expected);
    }
}

// One plain GET per check, on a fresh connection; a redirect to a valid manifest is not followed.
TEST_F(UpdateCheck, SendsPlainGetsAndDoesNotFollowRedirects) {
    TestHttpsServer server(*authority, [](const std::string& head) {
        for (const char* header : {"If-None-Match", "If-Modified-Since", "Cookie", "Range"})
            EXPECT_EQ(head.find(header), std::string::npos) << head;
        if (head.starts_with("GET /real.json HTTP/1.1\r\n")) return newer(head);
        EXPECT_TRUE(head.starts_with("GET /tessel/latest.json HTTP/1.1\r\n")) << head;
        return TestReply{302, "", "Location: /real.json\r\n"};
    });
    EXPECT_EQ(Updater::check(server.url(manifestPath), "1.2", session), std::nullopt);
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(Updater::check(server.url("/real.json"), "1.2", session), offered);
    EXPECT_EQ(server.connections(), 2);
}

TEST_F(UpdateCheck, RefusesAServerFromAnUnknownAuthorityOrPlainHttp) {
    TestHttpsServer server(*authority, [](const std::string& head) {
        ADD_FAILURE() << "answered " << head;
        return newer(head);
    });
    CurlHttpSession systemTrust;
    EXPECT_EQ(Updater::check(server.url(manifestPath), "1.2", systemTrust), std::nullopt);
    EXPECT_EQ(server.connections(), 1);
    const std::string plain = "http" + server.url(manifestPath).substr(5);
    EXPECT_EQ(Updater::check(plain, "1.2", session), std::nullopt);
    EXPECT_EQ(server.connections(), 1) << "connected for http://";
}

TEST_F(UpdateCheck, GivesUpOnAServerThatNeverAnswers) {
    TestHttpsServer server(*authority, newer, /*silent=*/true);
    const auto start = std::chrono::steady_clock::now();
    auto result = std::async(std::launch::async, [&] {
        return Updater::check(server.url(manifestPath), "1.2", session, 1s);
    });
    // Guards the test itself: should the time-out not work, resetting the connection ends it.
    if (result.wait_for(60s) != std::future_status::ready) {
        ADD_FAILURE() << "the check did not give up on its own";
        server.stop();
    }
    EXPECT_EQ(result.get(), std::nullopt);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 900ms) << "gave up before its time-out";
}

// Offers 1.3 and records the time-out it was given, or throws when told to.
struct ScriptedSession : tessel::HttpSession {
    std::optional<tessel::HttpResponse> get(const std::string&,
                                            std::chrono::milliseconds timeout) override {
        if (throws) throw std::runtime_error("session failure");
        askedTimeout = timeout;
        return tessel::HttpResponse{200, manifest("1.3")};
    }
    bool throws = false;
    std::chrono::milliseconds askedTimeout{0};
};

}  // namespace
