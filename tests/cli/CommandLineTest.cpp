// Reading the command line: option values, usage errors and their exit status.

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CommandLine.hpp"
#include "SheetRun.hpp"
#include "TestFiles.hpp"
#include "ToolRun.hpp"

namespace tessel::cli {
namespace {

ParsedCommandLine parse(std::initializer_list<const char*> arguments) {
    std::vector<const char*> argv(arguments.size() + 1, "tessel-sheet");
    std::copy(arguments.begin(), arguments.end(), argv.begin() + 1);
    return parseCommandLine(static_cast<int>(argv.size()), argv.data());
}

TEST(CommandLine, ColoursAndSizes) {
    EXPECT_EQ(parseColor("--background", "#FF8000"), (SheetColor{1, 128 / 255.0, 0, 1}));
    EXPECT_EQ(parseColor("--background", "#00ff00"), (SheetColor{0, 1, 0, 1}));
    EXPECT_EQ(parseSize("--size", "2480x3508"),
              (std::pair<std::int64_t, std::int64_t>{2480, 3508}));
    EXPECT_EQ(parseSize("--size", "1X1"), (std::pair<std::int64_t, std::int64_t>{1, 1}));
    for (const char* bad : {"red", "#FFF", "FF0000", "#GG0000", "#FF00001", ""}) {
        try {
            parseColor("--background", bad);
            ADD_FAILURE() << bad;
        } catch (const UsageError& e) {
            EXPECT_EQ(e.what(),
                      "--background: expected a colour as #RRGGBB, got '" + std::string(bad) + "'");
        }
    }
    for (const char* bad : {"10", "x10", "10x", "0x10", "10x-1", "10x10x10", "99999x1", "1.5x2"})
        EXPECT_THROW(parseSize("--size", bad), UsageError) << bad;
}

TEST(CommandLine, OverridesApplyOverTheChosenRecipe) {
    const ParsedCommandLine parsed =
        parse({"--preset",        "proof",    "--size",         "900x600",
               "--columns",       "2",        "--caption",      "filenameAndDate",
               "--caption-align", "right",    "--caption-size", "12.5",
               "--caption-color", "#102030",  "--format",       "jpeg",
               "--quality",       "0.5",      "--fit",          "fill",
               "--orientation",   "portrait", "a.jpg",          "-"});
    ASSERT_TRUE(parsed.command) << parsed.text;
    const SheetCommand& command = *parsed.command;
    EXPECT_EQ(command.images, (std::vector<std::string>{"a.jpg", "-"}));
    EXPECT_EQ(command.preset, SheetPreset::proof);
    const SheetRecipe r = resolveRecipe(command);
    SheetRecipe expected = recipe(SheetPreset::proof);
    expected.paper = SheetPaper::custom;
    expected.customWidth = 900;
    expected.customHeight = 600;
    expected.columns = 2;
    expected.caption = SheetCaption::filenameAndDate;
    expected.captionAlignment = SheetCaptionAlignment::right;
    expected.captionFontSize = 12.5;
    expected.captionColor = {0x10 / 255.0, 0x20 / 255.0, 0x30 / 255.0, 1};
    expected.output = SheetOutputFormat::jpeg;
    expected.jpegQuality = 0.5;
    expected.fit = SheetFit::fill;
    expected.orientation = SheetOrientation::portrait;
    EXPECT_EQ(r, expected);
}

TEST(CommandLine, DefaultsAreTheContactPresetAndItsName) {
    const ParsedCommandLine parsed = parse({});
    ASSERT_TRUE(parsed.command);
    EXPECT_EQ(parsed.command->action, SheetCommand::Action::sheet);
    EXPECT_TRUE(parsed.command->images.empty());
    EXPECT_EQ(parsed.command->baseName, "Contact Sheet");
    EXPECT_EQ(parsed.command->stdinName, "image");
    EXPECT_EQ(resolveRecipe(*parsed.command), recipe(SheetPreset::contact));
}

TEST(CommandLine, UsageErrorsExitWithTwoAndSayWhatIsWanted) {
    struct Case {
        std::vector<std::string> arguments;
        std::string message;
    };
    const Case cases[] = {
        {{"--preset", "contct"},
         "--preset: expected one of contact, portfolio, proof, square, got 'contct'"},
        {{"--background", "red"}, "--background: expected a colour as #RRGGBB, got 'red'"},
        {{"--caption-color", "#12345"},
         "--caption-color: expected a colour as #RRGGBB, got '#12345'"},
        {{"--size", "A4"},
         "--size: expected a size in pixels as WIDTHxHEIGHT (each 1 to 30000), got 'A4'"},
        {{"--columns", "0"}, "--columns: expected a whole number from 1 to 1000, got '0'"},
        {{"--margin", "-4"}, "--margin"},
        {{"--quality", "1.5"}, "--quality: expected a number from 0 to 1, got '1.5'"},
        {{"--caption-size", "nan"}, "--caption-size: expected a number from 8 to 72, got 'nan'"},
        {{"--paper", "A4"}, "--paper: expected one of a4, letter, square, hd, custom, got 'A4'"},
        {{"--format", "gif"}, "--format: expected one of pdf, png, jpeg, got 'gif'"},
        {{"--sort", "size"}, "--sort: expected one of filename, date, got 'size'"},
        {{"--stdin-name", "a/b.jpg", "-"}, "--stdin-name: expected a file name"},
        {{"--preset", "proof", "--layout", "Trip"}, "--preset excludes --layout"},
        {{"--recipe", "r.json", "--layout", "Trip"}, "--recipe excludes --layout"},
        {{"--frobnicate"}, "--frobnicate"},
        {{"--recipe", "missing.json"}, "--recipe: cannot read missing.json"},
        {{"--recipe", "bad.json"}, "--recipe: bad.json is not a recipe: \"paper\": missing"},
        {{"--recipe", "junk.json"}, "--recipe: junk.json is not a recipe: not valid JSON"},
        {{"--inspect", "a.png", "--list-presets"}, "--inspect excludes --list-presets"},
    };
    test::ToolSandbox sandbox;
    std::ofstream(sandbox.root() / "bad.json") << R"({"orientation": "portrait"})";
    std::ofstream(sandbox.root() / "junk.json") << "{";
    for (const Case& c : cases) {
        const test::ToolResult result = sandbox.run(c.arguments);
        EXPECT_EQ(result.exitStatus, 2) << c.message;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(c.message), std::string::npos)
            << result.err << "\nexpected: " << c.message;
        EXPECT_NE(result.err.find("--help"), std::string::npos);
    }
    EXPECT_TRUE(sandbox.runFolders().empty()) << "a usage error made an output folder";
}

TEST(CommandLine, AValidRecipeFileReplacesThePreset) {
    test::ToolSandbox sandbox;
    SheetRecipe square = recipe(SheetPreset::square);
    square.output = SheetOutputFormat::png;
    std::ofstream(sandbox.root() / "square.json") << encodeJSON(square);
    test::writeImage(sandbox.root() / "a.png", 20, 20, {5, 5, 5});
    const test::ToolResult result = sandbox.run({"--recipe", "square.json", "a.png"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(test::imageSize(test::lines(result.out).at(1)), (std::array<int, 2>{1600, 1600}));
}

TEST(CommandLine, HelpAndVersion) {
    test::ToolSandbox sandbox;
    const test::ToolResult help = sandbox.run({"--help"});
    EXPECT_EQ(help.exitStatus, 0);
    for (const char* text : {"--preset", "--stdin-name", "--inspect", "Examples:"})
        EXPECT_NE(help.out.find(text), std::string::npos) << text;
    const test::ToolResult version = sandbox.run({"--version"});
    EXPECT_EQ(version.exitStatus, 0);
    EXPECT_EQ(version.out, "tessel-sheet " + std::string(toolVersion()) + "\n");
}

}  // namespace
}  // namespace tessel::cli
