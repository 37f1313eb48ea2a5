// The update prompt against a real HTTPS server on 127.0.0.1.

#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;

/// A manifest server offering `version`.
struct ManifestServer {
    explicit ManifestServer(std::string version)
        : server(Harness::authority(), [version](const std::string&) {
              return TestReply{200,
                               R"({"version":")" + version +
                                   R"(","url":"https://127.0.0.1/Tessel.zip","notes":"n"})",
                               ""};
          }) {}
    std::string url() const { return server.url("/tessel/latest.json"); }
    TestHttpsServer server;
};

app::Alert prompt(const char* version) {
    return {QStringLiteral("Tessel"),
            QStringLiteral("A new version of Tessel is available"),
            QStringLiteral("Version %1 is ready. The app will update itself and relaunch.")
                .arg(QString::fromLatin1(version)),
            {QStringLiteral("Update Now"), QStringLiteral("Later")}};
}

const QString promptedKey = QStringLiteral("orvane.tessel.updatePromptedVersion");

// Waits for the automatic check of the harness's model to be answered.
void waitForAutomaticCheck(Harness& harness) {
    harness.model().waitForBackgroundWork();
    QCoreApplication::processEvents();
}

TEST(Updates, LaterIsRememberedForThatVersionOnly) {
    ManifestServer offers13("1.3");
    Harness harness({offers13.url(), "1.2"});
    harness.dialogs.alertAnswers.push_back(1);  // "Later"
    waitForAutomaticCheck(harness);
    EXPECT_EQ(harness.model().availableUpdate(),
              (UpdateInfo{"1.3", "https://127.0.0.1/Tessel.zip", "n"}));
    ASSERT_THAT(harness.dialogs.alerts, ::testing::ElementsAre(prompt("1.3")));
    EXPECT_EQ(harness.settings->string(promptedKey), QStringLiteral("1.3"));
    EXPECT_FALSE(harness.model().isUpdating());

    harness.restart();  // the next start: 1.3 again, no prompt
    waitForAutomaticCheck(harness);
    EXPECT_TRUE(harness.model().availableUpdate().has_value());
    EXPECT_EQ(harness.dialogs.alerts.size(), 1u);

    harness.model().checkForUpdatesManually();  // asking by hand prompts at once
    ASSERT_TRUE(waitUntil([&] { return harness.dialogs.alerts.size() == 2; }));
    EXPECT_EQ(harness.dialogs.alerts[1], prompt("1.3"));
    EXPECT_FALSE(harness.model().isCheckingForUpdate());
}

TEST(Updates, AManualCheckWithoutNetworkSaysUpToDate) {
    Harness harness;  // nobody listens at the manifest's address
    waitForAutomaticCheck(harness);
    EXPECT_TRUE(harness.dialogs.alerts.empty());  // the automatic check stays silent
    app::AppModel& model = harness.model();
    QSignalSpy checking(&model, &app::AppModel::isCheckingForUpdateChanged);
    model.checkForUpdatesManually();
    EXPECT_TRUE(model.isCheckingForUpdate());
    ASSERT_TRUE(waitUntil([&] { return !model.isCheckingForUpdate(); }));
    EXPECT_EQ(checking.count(), 2);
    EXPECT_THAT(harness.dialogs.alerts, ::testing::ElementsAre(app::Alert{
                                            QStringLiteral("Tessel"),
                                            QStringLiteral("You're up to date"),
                                            QStringLiteral("Tessel 1.2 is the latest version."),
                                            {QStringLiteral("OK")}}));
    EXPECT_EQ(model.availableUpdate(), std::nullopt);
}

TEST(Updates, TwoQuickManualChecksRunOneCheck) {
    ManifestServer current("1.2");
    Harness harness({current.url(), "1.2"});
    waitForAutomaticCheck(harness);
    ASSERT_EQ(current.server.connections(), 1);
    harness.model().checkForUpdatesManually();
    harness.model().checkForUpdatesManually();
    ASSERT_TRUE(waitUntil([&] { return !harness.model().isCheckingForUpdate(); }));
    EXPECT_EQ(current.server.connections(), 2);
    EXPECT_EQ(harness.dialogs.alerts.size(), 1u);
}

TEST(Updates, UpdateNowHandsTheUpdateToTheInstallerAndAsksToQuit) {
    ManifestServer offers13("1.3");
    Harness harness({offers13.url(), "1.2"});
    harness.dialogs.alertAnswers.push_back(0);  // "Update Now"
    app::AppModel& model = harness.model();
    QSignalSpy quit(&model, &app::AppModel::quitRequested);
    ASSERT_TRUE(waitUntil([&] { return model.isUpdating(); }));
    ASSERT_TRUE(waitUntil([&] { return quit.count() == 1; }));
    EXPECT_THAT(harness.installer.installed(),
                ::testing::ElementsAre(UpdateInfo{"1.3", "https://127.0.0.1/Tessel.zip", "n"}));
    EXPECT_EQ(harness.settings->string(promptedKey), std::nullopt);

    model.promptForUpdate();  // no second prompt while the update is installed
    model.checkForUpdatesManually();
    EXPECT_EQ(harness.dialogs.alerts.size(), 1u);
    EXPECT_FALSE(model.isCheckingForUpdate());
}

// A Tessel installed as a package tells of the new version and replaces nothing; the next
// start does not tell again.
TEST(Updates, APackagedTesselTellsOfANewVersionAndLeavesItsFilesToThePackageManager) {
    ManifestServer offers13("1.3");
    Harness harness({offers13.url(), "1.2"});
    harness.installer.packaged = true;
    waitForAutomaticCheck(harness);
    EXPECT_THAT(harness.dialogs.alerts,
                ::testing::ElementsAre(app::Alert{
                    QStringLiteral("Tessel"),
                    QStringLiteral("A new version of Tessel is available"),
                    QStringLiteral("Version 1.3 is available. Tessel was installed as a package: "
                                   "install the new version the same way, from the Tessel "
                                   "website."),
                    {QStringLiteral("OK")}}));
    EXPECT_FALSE(harness.model().isUpdating());
    EXPECT_TRUE(harness.installer.installed().empty());
    EXPECT_EQ(harness.settings->string(promptedKey), QStringLiteral("1.3"));
}

TEST(Updates, AFailedInstallationSaysSoAndOffersItAgain) {
    ManifestServer offers13("1.3");
    Harness harness({offers13.url(), "1.2", true});
    harness.dialogs.alertAnswers.push_back(0);
    app::AppModel& model = harness.model();
    QSignalSpy quit(&model, &app::AppModel::quitRequested);
    ASSERT_TRUE(waitUntil([&] { return model.errorMessage().has_value(); }));
    EXPECT_EQ(model.errorMessage(), QStringLiteral("The update could not be installed."));
    EXPECT_FALSE(model.isUpdating());
    EXPECT_EQ(quit.count(), 0);

    harness.dialogs.alertAnswers.push_back(1);
    model.promptForUpdate();  // "Update to 1.3…" from the menu
    EXPECT_EQ(harness.dialogs.alerts.size(), 2u);
}

}  // namespace
