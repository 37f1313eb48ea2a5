// Reading the command line: option values, usage errors and their exit status.

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CommandLine.hpp"
#include "SheetRun.hpp"
#include "Tool.hpp"

namespace tessel::cli {
namespace {

TEST(CommandLine, ColoursAndSizes) {
    EXPECT_EQ(parseColor("--background", "#00ff00"), (SheetColor{0, 1, 0, 1}));
    EXPECT_EQ(parseSize("--size", "1X1"), (std::pair<std::int64_t, std::int64_t>{1, 1}));
    for (const char* bad : {"red", "#FFF", "FF0000", "#GG0000", "#FF00001", ""})
        EXPECT_THROW(parseColor("--background", bad), UsageError) << bad;
    for (const char* bad : {"10", "x10", "10x", "0x10", "10x-1", "10x10x10", "99999x1", "1.5x2"})
        EXPECT_THROW(parseSize("--size", bad), UsageError) << bad;
}

TEST(CommandLine, OverridesApplyOverTheChosenRecipe) {
    std::istringstream text(
        "tessel-sheet --preset proof --caption filenameAndDate --caption-align right "
        "--caption-size 12.5 --caption-color #102030 --quality 0.5 --fit fill "
        "--orientation portrait --sort filename --resolution 300 --title Trip --page-numbers "
        "a.jpg -");
    const std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
    std::vector<const char*> argv;
    for (const std::string& word : words) argv.push_back(word.c_str());
    const ParsedCommandLine parsed = parseCommandLine(static_cast<int>(argv.size()), argv.data());
    ASSERT_TRUE(parsed.command) << parsed.text;
    EXPECT_EQ(parsed.command->images, (std::vector<std::string>{"a.jpg", "-"}));
    EXPECT_EQ(parsed.command->order, ImageOrder::filename);
    SheetRecipe expected = recipe(SheetPreset::proof);
    expected.caption = SheetCaption::filenameAndDate;
    expected.captionAlignment = SheetCaptionAlignment::right;
    expected.captionFontSize = 12.5;
    expected.captionColor = {0x10 / 255.0, 0x20 / 255.0, 0x30 / 255.0, 1};
    expected.jpegQuality = 0.5;
    expected.fit = SheetFit::fill;
    expected.orientation = SheetOrientation::portrait;
    expected.resolution = SheetResolution::high;
    expected.title = "Trip";
    expected.pageNumbers = true;
    EXPECT_EQ(resolveRecipe(*parsed.command), expected);
    // Each option is named in the help.
    const char* help[] = {"tessel-sheet", "--help"};
    const std::string helpText = parseCommandLine(2, help).text;
    for (const char* option : {"--resolution PPI", "--title TEXT", "--page-numbers"})
        EXPECT_NE(helpText.find(option), std::string::npos) << option;
}

TEST(CommandLine, UsageErrorsExitWithTwoAndSayWhatIsWanted) {
    const std::pair<test::Strings, std::string> cases[] = {
        {{"--preset", "contct"},
         "--preset: expected one of contact, portfolio, proof, square, got 'contct'"},
        {{"--size", "A4"},
         "--size: expected a size in pixels as WIDTHxHEIGHT (each 1 to 30000), got 'A4'"},
        {{"--columns", "0"}, "--columns: expected a whole number from 1 to 1000, got '0'"},
        {{"--caption-size", "nan"}, "--caption-size: expected a number from 8 to 72, got 'nan'"},
        {{"--resolution", "600"}, "--resolution: expected 150 or 300, got '600'"},
        {{"--title", "Trip", "--page-numbers", "--margin", "20", "a.jpg"},
         "The margin must be at least 30 px for the title and page numbers."},
        {{"--stdin-name", "a/b.jpg", "-"}, "--stdin-name: expected a file name"},
        {{"--preset", "proof", "--layout", "Trip"}, "--preset excludes --layout"},
        {{"--beside", "--output-dir", "out", "a.jpg"}, "--output-dir excludes --beside"},
        {{"--beside", "a.jpg", "-"}, "--beside: an image from standard input has no folder"},
        {{"--recipe", "missing.json"}, "--recipe: cannot read missing.json"},
        {{"--recipe", "bad.json"}, "--recipe: bad.json is not a recipe: \"paper\": missing"},
        {{"--layout", "Small"},
         "--layout: no saved layout is named 'Small'; saved layouts: 'Big squares'"},
    };
    test::ToolSandbox sandbox;
    std::ofstream(sandbox.root() / "bad.json") << R"({"orientation": "portrait"})";
    sandbox.saveLayouts({"Big squares"});
    for (const auto& [arguments, message] : cases) {
        const test::ToolResult result = sandbox.run(arguments);
        EXPECT_EQ(result, (test::ToolResult{2, "", result.err}));
        EXPECT_TRUE(result.err.starts_with("tessel-sheet: " + message) &&
                    result.err.ends_with("\nRun tessel-sheet --help for the options.\n"))
            << result.err << "wanted: " << message;
    }
    EXPECT_EQ(test::names(sandbox.shortcuts()), test::Strings{});  // no output folder was made
}

}  // namespace
}  // namespace tessel::cli
