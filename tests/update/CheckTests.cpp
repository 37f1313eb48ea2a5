#include <chrono>
#include <cstdlib>
#include <future>
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
using tessel::test::TestAuthority;
using tessel::test::TestHttpsServer;
using tessel::test::TestReply;
namespace Updater = tessel::Updater;

constexpr const char* manifestPath = "/tessel/latest.json";
constexpr const char* archiveURL = "https://updates.example.org/Tessel-1.3.zip";

class UpdateCheck : public testing::Test {
protected:
    static void SetUpTestSuite() {
        // A proxy configured on the machine must not stand between curl and 127.0.0.1.
        setenv("NO_PROXY", "127.0.0.1,localhost", 1);
        setenv("no_proxy", "127.0.0.1,localhost", 1);
        authority = new TestAuthority();
    }
    static void TearDownTestSuite() {
        delete authority;
        authority = nullptr;
    }

    CurlHttpSession trustingSession() const {
        return CurlHttpSession({authority->caFile().string()});
    }

    // Serves `reply` for every path and runs the check against it with running version
    // `running`.
    std::optional<UpdateInfo> checkAgainst(const TestReply& reply, const char* running) {
        TestHttpsServer server(*authority, [&](const std::string&) { return reply; });
        auto session = trustingSession();
        return Updater::check(server.url(manifestPath), running, session);
    }

    static inline TestAuthority* authority = nullptr;
};

std::string manifest(const std::string& version, const std::string& url) {
    return R"({"version": ")" + version + R"(", "url": ")" + url + R"(", "notes": "Faster."})";
}

struct ManifestCase {
    const char* what;
    int status;
    std::string body;
    const char* running;
    std::optional<UpdateInfo> expected;
};

TEST_F(UpdateCheck, AcceptsOnlyAValidNewerManifestWithStatus200) {
    const UpdateInfo offered{"1.3", archiveURL, "Faster."};
    const ManifestCase cases[] = {
        {"newer version", 200, manifest("1.3", archiveURL), "1.2", offered},
        {"newer patch level", 200, manifest("1.2.1", archiveURL), "1.2",
         UpdateInfo{"1.2.1", archiveURL, "Faster."}},
        {"other members ignored", 200,
         R"({"size": 12, "version": "1.3", "url": ")" + std::string(archiveURL) +
             R"(", "notes": "Faster.", "sha256": null})",
         "1.2", offered},
        {"notes missing", 200, R"({"version": "1.3", "url": ")" + std::string(archiveURL) + "\"}",
         "1.2", UpdateInfo{"1.3", archiveURL, ""}},
        {"notes not text", 200,
         R"({"version": "1.3", "url": ")" + std::string(archiveURL) + R"(", "notes": ["a"]})",
         "1.2", UpdateInfo{"1.3", archiveURL, ""}},
        {"status 203", 203, manifest("1.3", archiveURL), "1.2", std::nullopt},
        {"status 304", 304, "", "1.2", std::nullopt},
        {"status 404", 404, manifest("1.3", archiveURL), "1.2", std::nullopt},
        {"status 500", 500, manifest("1.3", archiveURL), "1.2", std::nullopt},
        {"equal version", 200, manifest("1.2", archiveURL), "1.2", std::nullopt},
        {"older version", 200, manifest("1.1", archiveURL), "1.2", std::nullopt},
        {"running Development", 200, manifest("99", archiveURL), "Development", std::nullopt},
        {"version not a version", 200, manifest("1.3-beta", archiveURL), "1.2", std::nullopt},
        {"empty body", 200, "", "1.2", std::nullopt},
        {"truncated JSON", 200, R"({"version": "1.3", "url": ")", "1.2", std::nullopt},
        {"top level array", 200, "[" + manifest("1.3", archiveURL) + "]", "1.2", std::nullopt},
        {"top level string", 200, R"("1.3")", "1.2", std::nullopt},
        {"version a number", 200, R"({"version": 1.3, "url": ")" + std::string(archiveURL) + "\"}",
         "1.2", std::nullopt},
        {"version missing", 200, R"({"url": ")" + std::string(archiveURL) + "\"}", "1.2",
         std::nullopt},
        {"url missing", 200, R"({"version": "1.3"})", "1.2", std::nullopt},
        {"url not text", 200, R"({"version": "1.3", "url": {"href": "https://a.example"}})", "1.2",
         std::nullopt},
        {"url plain http", 200, manifest("1.3", "http://updates.example.org/Tessel-1.3.zip"), "1.2",
         std::nullopt},
        {"url scheme in capitals", 200,
         manifest("1.3", "HTTPS://updates.example.org/Tessel-1.3.zip"), "1.2", std::nullopt},
        {"url scheme mixed case", 200,
         manifest("1.3", "Https://updates.example.org/Tessel-1.3.zip"), "1.2", std::nullopt},
        {"url without host", 200, manifest("1.3", "https:///Tessel-1.3.zip"), "1.2", std::nullopt},
        {"url not a URL", 200, manifest("1.3", "https://updates example/Tessel.zip"), "1.2",
         std::nullopt},
        {"url relative", 200, manifest("1.3", "/Tessel-1.3.zip"), "1.2", std::nullopt},
    };
    for (const ManifestCase& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(checkAgainst({c.status, c.body, {}}, c.running), c.expected);
    }
}

TEST_F(UpdateCheck, SendsOnePlainGetWithoutConditionalHeaders) {
    TestHttpsServer server(*authority, [](const std::string&) {
        return TestReply{200, manifest("1.3", archiveURL), {}};
    });
    auto session = trustingSession();
    ASSERT_TRUE(Updater::check(server.url(manifestPath), "1.2", session));
    ASSERT_TRUE(Updater::check(server.url(manifestPath), "1.2", session));

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    for (const std::string& head : requests) {
        EXPECT_TRUE(head.starts_with("GET /tessel/latest.json HTTP/1.1\r\n")) << head;
        for (const char* header : {"If-None-Match", "If-Modified-Since", "Cookie", "Range"}) {
            EXPECT_EQ(head.find(header), std::string::npos) << head;
        }
    }
    // Every check opens its own connection rather than reusing a cached one.
    EXPECT_EQ(server.connections(), 2);
}

TEST_F(UpdateCheck, DoesNotFollowRedirects) {
    TestHttpsServer* self = nullptr;
    TestHttpsServer server(*authority, [&](const std::string& path) {
        if (path == manifestPath)
            return TestReply{302, "", {{"Location", self->url("/real.json")}}};
        return TestReply{200, manifest("1.3", archiveURL), {}};
    });
    self = &server;
    auto session = trustingSession();
    EXPECT_EQ(Updater::check(server.url(manifestPath), "1.2", session), std::nullopt);
    EXPECT_EQ(server.requests().size(), 1u);
    // The target itself is a valid manifest: only the redirect made the check fail.
    EXPECT_TRUE(Updater::check(server.url("/real.json"), "1.2", session));
}

TEST_F(UpdateCheck, RefusesAServerFromAnUnknownAuthority) {
    TestHttpsServer server(*authority, [](const std::string&) {
        return TestReply{200, manifest("1.3", archiveURL), {}};
    });
    CurlHttpSession systemTrust;
    EXPECT_EQ(Updater::check(server.url(manifestPath), "1.2", systemTrust), std::nullopt);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(UpdateCheck, GivesUpOnAServerThatNeverAnswers) {
    TestHttpsServer server(
        *authority, [](const std::string&) { return TestReply{}; }, TestHttpsServer::Mode::silent);
    auto session = trustingSession();
    auto result = std::async(std::launch::async, [&] {
        return Updater::check(server.url(manifestPath), "1.2", session, 1s);
    });
    // Guards the test itself: should the time-out not work, closing the connection ends it.
    if (result.wait_for(60s) != std::future_status::ready) {
        ADD_FAILURE() << "the check did not give up on its own";
        server.stop();
    }
    EXPECT_EQ(result.get(), std::nullopt);
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(UpdateCheck, RefusesPlainHttp) {
    TestHttpsServer server(
        *authority,
        [](const std::string&) {
            return TestReply{200, manifest("1.3", archiveURL), {}};
        },
        TestHttpsServer::Mode::plain);
    auto session = trustingSession();
    EXPECT_EQ(session.get(server.url(manifestPath), 2s), std::nullopt);
    EXPECT_EQ(Updater::check(server.url(manifestPath), "1.2", session), std::nullopt);
    EXPECT_EQ(server.connections(), 0);
}

// A session that records what it was asked and answers as told.
class ScriptedSession : public tessel::HttpSession {
public:
    std::optional<tessel::HttpResponse> get(const std::string& url,
                                            std::chrono::milliseconds timeout) override {
        askedURL = url;
        askedTimeout = timeout;
        if (throws) throw std::runtime_error("session failure");
        return answer;
    }
    std::optional<tessel::HttpResponse> answer;
    bool throws = false;
    std::string askedURL;
    std::chrono::milliseconds askedTimeout{0};
};

TEST(UpdateCheckSession, AsksForTheManifestWithATenSecondTimeOut) {
    ScriptedSession session;
    session.answer = tessel::HttpResponse{200, manifest("1.3", archiveURL)};
    EXPECT_EQ(Updater::check("https://updates.example.org/m.json", "1.2", session),
              (UpdateInfo{"1.3", archiveURL, "Faster."}));
    EXPECT_EQ(session.askedURL, "https://updates.example.org/m.json");
    EXPECT_EQ(session.askedTimeout, 10s);
}

TEST(UpdateCheckSession, NeverThrows) {
    ScriptedSession throwing;
    throwing.throws = true;
    EXPECT_EQ(Updater::check(Updater::manifestLocation(), "1.2", throwing), std::nullopt);
    ScriptedSession failing;  // transport failure: no response at all
    EXPECT_EQ(Updater::check(Updater::manifestLocation(), "1.2", failing), std::nullopt);
}

TEST(UpdateLocation, IsTheHttpsManifestPathOfTheUpdateServer) {
    const std::string& location = Updater::manifestLocation();
    EXPECT_TRUE(location.starts_with("https://")) << location;
    EXPECT_TRUE(location.ends_with("/tessel/latest.json")) << location;
    EXPECT_EQ(&location, &Updater::manifestLocation());
}

TEST(UpdateLocation, RunningVersionIsTheCompiledInRelease) {
    EXPECT_EQ(Updater::currentVersion(), TESSEL_EXPECTED_VERSION);
}

}  // namespace
