// The application's installer is SelfUpdater::install for this very process: a program that
// does not run from a Tessel.app (this test, a build tree) is refused before any request.

#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "services/SelfUpdateInstaller.hpp"
#include "update/SelfUpdater.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;

TEST(Installer, AProgramOutsideATesselAppIsRefusedBeforeAnyRequest) {
    TestHttpsServer server(Harness::authority(), [](const std::string&) {
        return TestReply{200, "not a zip", ""};
    });
    CurlHttpSession session(CurlHttpSession::Options{Harness::authority().caFile.string()});
    app::SelfUpdateInstaller installer(session);
    try {
        const std::atomic<bool> stillWanted{false};
        installer.install({"9.9", server.url("/Tessel-9.9.zip"), ""}, stillWanted);
        FAIL() << "installed";
    } catch (const SelfUpdater::UpdateFailure& failure) {
        EXPECT_EQ(failure.error(), SelfUpdater::UpdateError::readOnlyLocation) << failure.what();
    }
    EXPECT_EQ(server.connections(), 0);
}

}  // namespace
