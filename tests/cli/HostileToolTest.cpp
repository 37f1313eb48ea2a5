// tessel-sheet given what a careless or hostile user might give it: names that lead out of
// the output folder, files that never end or never answer, recipes out of every range, and
// failed runs that must not leave standard input's copy behind. Every case ends with a clear
// message and its exit status; a run that hangs ends with the time-out's status 124.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tessel/SheetRecipe.hpp"

#include "Tool.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRunHelp = "\nRun tessel-sheet --help for the options.\n";

ToolResult usageError(const std::string& message) {
    return {2, "", "tessel-sheet: " + message + kRunHelp};
}

TEST(HostileTool, NamesAreFileNamesNeverPaths) {
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "a.jpg", 40, 30, {1, 2, 3});
    fs::create_directory(sandbox.root() / "out");
    for (const std::string name : {"../escape", "/abs/path", "sub/x", "line\nbreak", "cr\rx"}) {
        SCOPED_TRACE(name);
        const std::string wanted =
            "expected a file name without a folder or a line break, got '" + name + "'";
        EXPECT_EQ(sandbox.run({"--output-dir", "out", "--name", name, "a.jpg"}),
                  usageError("--name: " + wanted));
        EXPECT_EQ(sandbox.run({"--output-dir", "out", "--stdin-name", name, "-"}),
                  usageError("--stdin-name: " + wanted));
    }
    EXPECT_EQ(names(sandbox.root() / "out"), Strings{});
    EXPECT_FALSE(fs::exists(sandbox.root() / "escape.pdf"));
    EXPECT_FALSE(fs::exists("/abs"));
    // A blank name still stands for "Contact Sheet"; a name with dots is still a name.
    EXPECT_EQ(sandbox.run({"--output-dir", "out", "--name", "", "a.jpg"}).exitStatus, 0);
    EXPECT_EQ(sandbox.run({"--output-dir", "out", "--name", "..x", "a.jpg"}).exitStatus, 0);
    EXPECT_EQ(names(sandbox.root() / "out"), (Strings{"..x.pdf", "Contact Sheet.pdf"}));
}

TEST(HostileTool, FilesThatAreNotRegularAreUnreadableAndNeverWaitedOn) {
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "a.jpg", 40, 30, {1, 2, 3});
    ASSERT_EQ(::mkfifo((sandbox.root() / "y.jpg").c_str(), 0600), 0);
    const std::string notRegular = " could not be read.\nIt is not a regular file.\n";
    EXPECT_EQ(sandbox.run({"a.jpg", "y.jpg"}), (ToolResult{1, "", "y.jpg" + notRegular}));
    EXPECT_EQ(sandbox.run({"/dev/zero", "a.jpg"}), (ToolResult{1, "", "zero" + notRegular}));
    EXPECT_EQ(sandbox.run({"--recipe", "y.jpg", "a.jpg"}),
              usageError("--recipe: y.jpg is not a regular file"));
    EXPECT_EQ(sandbox.run({"--recipe", "/dev/zero", "a.jpg"}),
              usageError("--recipe: /dev/zero is not a regular file"));
    std::ofstream(sandbox.root() / "huge.json") << std::string((1 << 20) + 1, ' ');
    EXPECT_EQ(sandbox.run({"--recipe", "huge.json", "a.jpg"}),
              usageError("--recipe: huge.json is larger than 1 MB"));
}

TEST(HostileTool, RecipeFilesKeepToTheOptionsRanges) {
    // The first aborted the process ("grid overflow"), the second made a blank page.
    using Change = void (*)(SheetRecipe&);
    const std::pair<Change, std::string> cases[] = {
        {[](SheetRecipe& r) { r.columns = std::int64_t{1} << 62; },
         "\"columns\" must be from 1 to 1000, got 4611686018427387904"},
        {[](SheetRecipe& r) { r.rows = 0; }, "\"rows\" must be from 1 to 1000, got 0"},
        {[](SheetRecipe& r) { r.margin = -5; }, "\"margin\" must be from 0 to 30000, got -5"},
        {[](SheetRecipe& r) { r.captionFontSize = 100; },
         "\"captionFontSize\" must be from 8 to 72"},
        {[](SheetRecipe& r) {
             r.paper = SheetPaper::custom;
             r.customHeight = 40000;
         },
         "\"customHeight\" must be from 1 to 30000, got 40000"},
    };
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "a.jpg", 40, 30, {1, 2, 3});
    for (const auto& [change, message] : cases) {
        SCOPED_TRACE(message);
        SheetRecipe r = recipe(SheetPreset::contact);
        change(r);
        std::ofstream(sandbox.root() / "r.json", std::ios::trunc) << encodeJSON(r);
        const ToolResult result = sandbox.run({"--recipe", "r.json", "a.jpg"});
        EXPECT_EQ(result.exitStatus, 2) << result;
        EXPECT_TRUE(result.err.starts_with("tessel-sheet: --recipe: r.json: " + message))
            << result.err;
    }
    // A custom size matters only on custom paper.
    SheetRecipe a4 = recipe(SheetPreset::contact);
    a4.customWidth = 0;
    std::ofstream(sandbox.root() / "r.json", std::ios::trunc) << encodeJSON(a4);
    EXPECT_EQ(sandbox.run({"--recipe", "r.json", "a.jpg"}).exitStatus, 0);
    EXPECT_EQ(names(sandbox.shortcuts()).size(), 1u);  // the others stopped before a folder
}

TEST(HostileTool, AFailedRunTakesBackStandardInputsCopyFromAFolderItDidNotMake) {
    ToolSandbox sandbox;
    fs::create_directory(sandbox.root() / "out");
    std::string noise(200000, '\0');
    std::mt19937 random(7);
    for (char& c : noise) c = static_cast<char>(random());
    for (const auto& [input, cause] : {std::pair(noise, "The file is not an image."),
                                       std::pair(std::string(), "The file is empty.")}) {
        EXPECT_EQ(sandbox.run({"--output-dir", "out", "--stdin-name", "in.jpg", "-"}, input),
                  (ToolResult{1, "", "in.jpg could not be read.\n" + std::string(cause) + "\n"}));
        EXPECT_EQ(names(sandbox.root() / "out"), Strings{});
    }
    // A folder the run made itself keeps the copy as a record, as the cache's folders do.
    EXPECT_EQ(sandbox.run({"--output-dir", "new", "--stdin-name", "in.jpg", "-"}, noise).exitStatus,
              1);
    EXPECT_EQ(names(sandbox.root() / "new"), Strings{"in.jpg"});
    EXPECT_EQ(sandbox.run({"--stdin-name", "in.jpg", "-"}, noise).exitStatus, 1);
    EXPECT_EQ(names(sandbox.shortcuts() / names(sandbox.shortcuts()).at(0)), Strings{"in.jpg"});
}

}  // namespace
}  // namespace tessel::test
