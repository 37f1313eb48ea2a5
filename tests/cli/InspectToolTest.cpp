// tessel-sheet reporting: --inspect, --list-presets and saved layouts by name.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tessel/SavedLayouts.hpp"

#include "TestFiles.hpp"
#include "ToolRun.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

TEST(InspectTool, PrintsOneJsonLinePerImageAndFailsWhenAnyFails) {
    ToolSandbox sandbox;
    const fs::path photo = sandbox.root() / "photo.png";
    writeImage(photo, 64, 48, {9, 9, 9});
    writeAnimatedGIF(sandbox.root() / "clip.gif", 3);
    std::ofstream(sandbox.root() / "broken.jpg") << "nope";

    const ToolResult result = sandbox.run({"--inspect", "photo.png", "clip.gif", "broken.jpg"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "");
    const auto out = lines(result.out);
    ASSERT_EQ(out.size(), 3u) << result.out;
    EXPECT_EQ(json::parse(out[0]), (json{{"file", "photo.png"},
                                         {"width", 64},
                                         {"height", 48},
                                         {"frameCount", 1},
                                         {"bytes", fs::file_size(photo)},
                                         {"dateTaken", nullptr},
                                         {"cameraModel", nullptr}}));
    // Keys come in a reader's order, not sorted.
    EXPECT_EQ(out[0].rfind("{\"file\":\"photo.png\",\"width\":64,\"height\":48,", 0), 0u);
    EXPECT_EQ(json::parse(out[1]),
              (json{{"file", "clip.gif"},
                    {"error",
                     "clip.gif contains 3 frames. Tessel never discards frames "
                     "silently."}}));
    EXPECT_EQ(json::parse(out[2]),
              (json{{"file", "broken.jpg"}, {"error", "broken.jpg could not be read."}}));

    const ToolResult good = sandbox.run({"--inspect", "photo.png"});
    EXPECT_EQ(good.exitStatus, 0);
    EXPECT_TRUE(sandbox.runFolders().empty());
}

TEST(InspectTool, ReportsDateAndCameraOfARealPhotograph) {
    const fs::path canon = fs::path(TESSEL_FIXTURES_DIR) / "exif" / "exiftool_Canon.jpg";
    if (!fs::exists(canon)) GTEST_SKIP() << "fixtures not present";
    ToolSandbox sandbox;
    const ToolResult result = sandbox.run({"--inspect", canon.string()});
    ASSERT_EQ(result.exitStatus, 0) << result.out;
    const json line = json::parse(lines(result.out).at(0));
    EXPECT_EQ(line["dateTaken"], "2003-12-04T06:46:52");
    EXPECT_EQ(line["cameraModel"], "Canon EOS DIGITAL REBEL");
}

TEST(InspectTool, FoldersAreExpandedInNaturalOrderSkippingHiddenFiles) {
    ToolSandbox sandbox;
    const fs::path folder = sandbox.root() / "shots";
    fs::create_directories(folder / "Sub");
    for (const char* name : {"img10.png", "img2.png", "Sub/img1.png", ".hidden.png"})
        writeImage(folder / name, 8, 8, {0, 0, 0});
    std::ofstream(folder / "notes.txt") << "not listed";
    const ToolResult result = sandbox.run({"--inspect", "shots"});
    ASSERT_EQ(result.exitStatus, 0) << result.out;
    std::vector<std::string> files;
    for (const std::string& line : lines(result.out))
        files.push_back(json::parse(line)["file"].get<std::string>());
    EXPECT_EQ(files, (std::vector<std::string>{"shots/img2.png", "shots/img10.png",
                                               "shots/Sub/img1.png"}));
}

void saveLayouts(const ToolSandbox& sandbox, const std::vector<SavedLayout>& layouts) {
    const fs::path file = sandbox.dataHome() / "Orvane Tessel" / "layouts.json";
    fs::create_directories(file.parent_path());
    std::ofstream(file) << encodeSavedLayouts(layouts);
}

SavedLayout squaresLayout() {
    SheetRecipe r = recipe(SheetPreset::square);
    r.output = SheetOutputFormat::png;
    r.columns = 1;
    r.rows = 1;
    return {"6F9619FF-8B86-D011-B42D-00C04FC964FF", "Big squares", r};
}

TEST(SavedLayoutTool, ALayoutByNameReplacesThePreset) {
    ToolSandbox sandbox;
    saveLayouts(sandbox, {squaresLayout()});
    writeImage(sandbox.root() / "a.png", 30, 30, {0, 0, 0});

    const ToolResult result = sandbox.run({"--layout", "Big squares", "--rows", "2", "a.png"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const auto out = lines(result.out);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(fs::path(out[1]).filename(), "Contact Sheet.png");
    EXPECT_EQ(imageSize(out[1]), (std::array<int, 2>{1600, 1600}));

    const ToolResult unknown = sandbox.run({"--layout", "Small", "a.png"});
    EXPECT_EQ(unknown.exitStatus, 2);
    EXPECT_NE(unknown.err.find("--layout: no saved layout is named 'Small'; saved layouts: "
                               "'Big squares'"),
              std::string::npos)
        << unknown.err;
    EXPECT_TRUE(sandbox.runFolders().size() == 1u);  // only the successful run made one
}

TEST(SavedLayoutTool, ListPresetsShowsPresetsThenSavedLayouts) {
    ToolSandbox sandbox;
    const ToolResult none = sandbox.run({"--list-presets"});
    EXPECT_EQ(none.exitStatus, 0);
    EXPECT_EQ(lines(none.out),
              (std::vector<std::string>{"Presets (--preset NAME):", "  contact     Contact Sheet",
                                        "  portfolio   Portfolio", "  proof       Proof Grid",
                                        "  square      Square Grid", "Saved layouts: none"}));
    SavedLayout second = squaresLayout();
    second.id = "00000000-0000-0000-0000-000000000001";
    second.name = "Trip";
    saveLayouts(sandbox, {squaresLayout(), second});
    const auto out = lines(sandbox.run({"--list-presets"}).out);
    ASSERT_EQ(out.size(), 8u);
    EXPECT_EQ(out[5], "Saved layouts (--layout NAME):");
    EXPECT_EQ(out[6], "  Big squares");
    EXPECT_EQ(out[7], "  Trip");
}

}  // namespace
}  // namespace tessel::test
