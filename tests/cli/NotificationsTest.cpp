// tessel-sheet --notify on a private session bus: the progress of a large selection, the
// finished sheet with its actions, a failure's own text, and silence without a service.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include <glib.h>
#include <gtest/gtest.h>

#include "DesktopBus.hpp"
#include "Tool.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

Strings onBus(const ToolSandbox& sandbox, const PrivateSessionBus& bus) {
    Strings environment = sandbox.environment();
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.address());
    return environment;
}

std::string uriOf(const fs::path& file) {
    gchar* uri = g_filename_to_uri(file.c_str(), nullptr, nullptr);
    std::string text = uri;
    g_free(uri);
    return text;
}

/// `count` photographs in `folder`, named "Möwe 1.jpg" and on.
Strings photographs(const fs::path& folder, int count) {
    fs::create_directories(folder);
    Strings files;
    for (int i = 1; i <= count; ++i)
        writeImage(files.emplace_back(folder / ("Möwe " + std::to_string(i) + ".jpg")), 40, 30,
                   {static_cast<std::uint8_t>(i * 10), 90, 160});
    return files;
}

// A PDF viewer that keeps a copy of what it was asked to open, as the desktop's default.
void installViewer(const ToolSandbox& sandbox) {
    fs::create_directories(sandbox.root() / "data/applications");
    std::ofstream(sandbox.root() / "data/applications/test-viewer.desktop")
        << "[Desktop Entry]\nType=Application\nName=Viewer\nMimeType=application/pdf;\n"
        << "Exec=cp %f " << (sandbox.root() / "opened.pdf").string() << "\n";
    fs::create_directories(sandbox.root() / "config");
    std::ofstream(sandbox.root() / "config/mimeapps.list")
        << "[Default Applications]\napplication/pdf=test-viewer.desktop\n";
}

TEST(Notifications, ALargeSelectionShowsProgressThenTheSheetWhichOpensAndShowsInItsFolder) {
    ToolSandbox sandbox;
    installViewer(sandbox);
    const PrivateSessionBus bus;
    const DesktopOnBus desktop(bus, {"open", "show"});
    const fs::path trip = sandbox.root() / "Åland & <Gotland>";
    Strings arguments{TESSEL_SHEET, "--beside", "--notify"};
    for (const std::string& file : photographs(trip, 24)) arguments.push_back(file);
    const ToolResult result = runProgram(sandbox.root(), arguments, onBus(sandbox, bus));
    const fs::path sheet = trip / "Contact Sheet.pdf";
    EXPECT_EQ(result, (ToolResult{0, "Created a contact sheet.\n" + sheet.string() + "\n", ""}));

    const std::vector<Notification> shown = desktop.notifications();
    ASSERT_GE(shown.size(), 2u);
    // One notification, replaced in place: the progress, then the result.
    int lastValue = -1;
    for (std::size_t i = 0; i + 1 < shown.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(shown[i].summary, "Making a contact sheet\u2026");
        EXPECT_EQ(shown[i].replacesId, i == 0 ? 0u : shown[0].id);
        ASSERT_TRUE(shown[i].value);
        EXPECT_GE(*shown[i].value, lastValue);
        EXPECT_LE(*shown[i].value, 100);
        lastValue = *shown[i].value;
        EXPECT_TRUE(shown[i].actions.empty());
    }
    EXPECT_EQ(shown[0].body, "Reading images: 1 of 24");
    const Notification& done = shown.back();
    EXPECT_EQ(done.replacesId, shown[0].id);
    EXPECT_EQ(done.summary, "Created a contact sheet.");
    // The server reads the body as markup: the folder's name is escaped.
    EXPECT_EQ(done.body,
              "Contact Sheet.pdf in " + sandbox.root().string() + "/Åland &amp; &lt;Gotland&gt;");
    EXPECT_EQ(done.actions, (Strings{"default", "Open", "open", "Open", "show", "Show in Folder"}));
    EXPECT_EQ(done.appIcon, "com.orvane.Tessel");
    EXPECT_EQ(done.desktopEntry, "com.orvane.Tessel");
    EXPECT_FALSE(done.value);

    // "Show in Folder" asked the file manager to show the sheet, with the token the
    // notification server handed over so that its window may come to the front.
    const std::vector<ShownItems> asked = desktop.shownItems();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].uris, Strings{uriOf(sheet)});
    EXPECT_EQ(asked[0].startupId, DesktopOnBus::kActivationToken);
    // "Open" started the default application for PDF files on the sheet; it runs on its own.
    for (int wait = 0; wait < 100 && !fs::exists(sandbox.root() / "opened.pdf"); ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(fileBytes(sandbox.root() / "opened.pdf"), fileBytes(sheet));
}

TEST(Notifications, AFailureShowsItsOwnTextAndNoActions) {
    ToolSandbox sandbox;
    const PrivateSessionBus bus;
    const DesktopOnBus desktop(bus, {"open", "show"});
    const fs::path page = sandbox.root() / "Möwen im Flug.jpg";  // a download that failed
    std::ofstream(page) << "<html><body>Not found</body></html>";
    const Strings photo = photographs(sandbox.root() / "Tag 2", 1);
    const ToolResult result =
        runProgram(sandbox.root(),
                   {TESSEL_SHEET, "--beside", "--notify", "--preset", "square", photo[0], page},
                   onBus(sandbox, bus));
    // The cause under the headline, as on standard error.
    const std::string text = "Möwen im Flug.jpg could not be read.\nThe file is not an image.";
    EXPECT_EQ(result, (ToolResult{1, "", text + "\n"}));
    const std::vector<Notification> shown = desktop.notifications();
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].summary, "No contact sheet was made");
    EXPECT_EQ(shown[0].body, text);
    EXPECT_TRUE(shown[0].actions.empty());
    EXPECT_EQ(names(sandbox.root() / "Tag 2"), Strings{"Möwe 1.jpg"});
    EXPECT_TRUE(desktop.shownItems().empty());
}

}  // namespace
}  // namespace tessel::test
