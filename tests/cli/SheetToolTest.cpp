// tessel-sheet making sheets: presets, formats, folders, standard input and failures.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TestFiles.hpp"
#include "ToolRun.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

/// `count` small photographs p01.jpg ... in a folder of the sandbox; returns their paths.
std::vector<std::string> photos(const ToolSandbox& sandbox, int count) {
    const fs::path folder = sandbox.root() / "photos";
    fs::create_directories(folder);
    std::vector<std::string> paths;
    for (int i = 1; i <= count; ++i) {
        const fs::path file = folder / ((i < 10 ? "p0" : "p") + std::to_string(i) + ".jpg");
        writeImage(file, 60 + i, 40, {static_cast<std::uint8_t>(10 * i), 120, 200});
        paths.push_back(file.string());
    }
    return paths;
}

std::vector<std::string> concat(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

bool isUpperCaseUUID(const std::string& text) {
    if (text.size() != 36) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (c != '-') return false;
        } else if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) {
            return false;
        }
    }
    return true;
}

TEST(SheetTool, EveryPresetWritesOnePdfWithItsPagesInANewCacheFolder) {
    struct Case {
        const char* preset;
        std::size_t pages;
        double width, height;
    };
    // Thirteen images: contact holds 12 a page, portfolio 6, proof 20, square 9.
    const Case cases[] = {{"contact", 2, 595.28, 841.89},
                          {"portfolio", 3, 595.28, 841.89},
                          {"proof", 1, 841.89, 595.28},
                          {"square", 2, 720, 720}};
    ToolSandbox sandbox;
    const std::vector<std::string> images = photos(sandbox, 13);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.preset);
        const ToolResult result = sandbox.run(concat({"--preset", c.preset}, images));
        ASSERT_EQ(result.exitStatus, 0) << result.err;
        EXPECT_EQ(result.err, "");
        const auto out = lines(result.out);
        ASSERT_EQ(out.size(), 2u) << result.out;
        EXPECT_EQ(out[0], "Created a contact sheet.");
        const fs::path pdf = out[1];
        EXPECT_TRUE(pdf.is_absolute());
        EXPECT_EQ(pdf.filename(), "Contact Sheet.pdf");
        EXPECT_EQ(pdf.parent_path().parent_path(), sandbox.shortcutsFolder());
        EXPECT_TRUE(isUpperCaseUUID(pdf.parent_path().filename().string()))
            << pdf.parent_path().filename();
        const auto sizes = pdfPageSizes(pdf);
        ASSERT_EQ(sizes.size(), c.pages);
        for (const PageSize& size : sizes) {
            EXPECT_NEAR(size.width, c.width, 0.01);
            EXPECT_NEAR(size.height, c.height, 0.01);
        }
    }
    // Every run had a folder of its own.
    EXPECT_EQ(sandbox.runFolders().size(), std::size(cases));
}

TEST(SheetTool, ImageFormatsWriteNumberedPages) {
    ToolSandbox sandbox;
    const std::vector<std::string> images = photos(sandbox, 3);
    for (const auto& [format, extension] :
         {std::pair<std::string, std::string>{"png", ".png"}, {"jpeg", ".jpg"}}) {
        SCOPED_TRACE(format);
        const ToolResult result = sandbox.run(concat(
            {"--format", format, "--columns", "2", "--rows", "1", "--name", "Trip"}, images));
        ASSERT_EQ(result.exitStatus, 0) << result.err;
        const auto out = lines(result.out);
        ASSERT_EQ(out.size(), 3u) << result.out;
        EXPECT_EQ(out[0], "Created 2 contact sheet pages.");
        EXPECT_EQ(fs::path(out[1]).filename(), "Trip-1" + extension);
        EXPECT_EQ(fs::path(out[2]).filename(), "Trip-2" + extension);
        EXPECT_EQ(imageSize(out[2]), (std::array<int, 2>{1240, 1754}));
        // Only the pages are written: no PDF beside them.
        std::size_t files = 0;
        for ([[maybe_unused]] const auto& entry :
             fs::directory_iterator(fs::path(out[1]).parent_path()))
            ++files;
        EXPECT_EQ(files, 2u);
    }
}

TEST(SheetTool, FieldOverridesShapeThePage) {
    ToolSandbox sandbox;
    const std::vector<std::string> images = photos(sandbox, 2);
    const ToolResult result = sandbox.run(
        concat({"--preset", "square", "--size", "800x500", "--format", "png", "--background",
                "#00FF00", "--columns", "1", "--rows", "1", "--margin", "100"},
               images));
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const auto out = lines(result.out);
    ASSERT_EQ(out.size(), 3u) << result.out;
    EXPECT_EQ(imageSize(out[1]), (std::array<int, 2>{800, 500}));
    EXPECT_EQ(pixelAt(out[1], 10, 10), (RGB{0, 255, 0}));  // inside the margin
}

TEST(SheetTool, ImagesStayInTheGivenOrderUnlessSorted) {
    ToolSandbox sandbox;
    const fs::path folder = sandbox.root() / "pair";
    fs::create_directories(folder);
    writeImage(folder / "img2.png", 100, 100, {255, 0, 0});
    writeImage(folder / "img10.png", 100, 100, {0, 0, 255});
    // Read if the folder scan did not skip hidden files, and it would fail the run.
    std::ofstream(folder / ".hidden.png") << "not an image";
    const std::vector<std::string> grid{
        "--columns", "2",   "--rows", "1",       "--fit",    "fill", "--caption", "none",
        "--format",  "png", "--size", "400x200", "--margin", "0",    "--spacing", "0"};
    struct Case {
        std::vector<std::string> arguments;
        RGB left;
    };
    const Case cases[] = {
        {{(folder / "img10.png").string(), (folder / "img2.png").string()}, {0, 0, 255}},
        {{"--sort", "filename", (folder / "img10.png").string(), (folder / "img2.png").string()},
         {255, 0, 0}},
        {{folder.string()}, {255, 0, 0}},  // a folder comes in natural file-name order
    };
    for (const Case& c : cases) {
        const ToolResult result = sandbox.run(concat(grid, c.arguments));
        ASSERT_EQ(result.exitStatus, 0) << result.err;
        const auto out = lines(result.out);
        ASSERT_EQ(out.size(), 2u) << result.out;
        EXPECT_EQ(pixelAt(out[1], 100, 100), c.left) << c.arguments.back();
    }
}

TEST(SheetTool, OutputDirNeverOverwrites) {
    ToolSandbox sandbox;
    const std::vector<std::string> images = photos(sandbox, 1);
    const fs::path out = sandbox.root() / "sheets" / "new";
    const std::vector<std::string> arguments =
        concat({"--output-dir", out.string(), "--name", "Proofs"}, images);

    const ToolResult first = sandbox.run(arguments);
    ASSERT_EQ(first.exitStatus, 0) << first.err;
    EXPECT_EQ(lines(first.out), (std::vector<std::string>{"Created a contact sheet.",
                                                          (out / "Proofs.pdf").string()}));
    const std::string bytes = fileBytes(out / "Proofs.pdf");

    const ToolResult second = sandbox.run(arguments);
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, "A file already exists at the destination.\n");
    EXPECT_EQ(fileBytes(out / "Proofs.pdf"), bytes);
    EXPECT_TRUE(sandbox.runFolders().empty());  // nothing was made in the cache
}

TEST(SheetTool, StandardInputIsStoredUnderItsNameBeforeInspection) {
    ToolSandbox sandbox;
    const fs::path source = sandbox.root() / "source.jpg";
    writeImage(source, 50, 30, {1, 2, 3});
    const std::string bytes = fileBytes(source);

    for (const auto& [extra, name] : {std::pair<std::vector<std::string>, std::string>{
                                          {"--stdin-name", "photo.jpg"}, "photo.jpg"},
                                      {{}, "image"}}) {
        // The same image twice: standard input is read once and fills two cells.
        const ToolResult result = sandbox.run(concat(extra, {"-", "-"}), bytes);
        ASSERT_EQ(result.exitStatus, 0) << result.err;
        const auto out = lines(result.out);
        ASSERT_EQ(out.size(), 2u);
        const fs::path folder = fs::path(out[1]).parent_path();
        EXPECT_EQ(fileBytes(folder / name), bytes) << name;
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names, (std::vector<std::string>{"Contact Sheet.pdf", name}));
    }
}

TEST(SheetTool, StandardInputThatIsNoImageFailsAfterItWasStored) {
    ToolSandbox sandbox;
    const ToolResult result = sandbox.run({"--stdin-name", "upload.png", "-"}, "<html></html>");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "upload.png could not be read.\n");
    const auto folders = sandbox.runFolders();
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(fileBytes(folders[0] / "upload.png"), "<html></html>");
}

TEST(SheetTool, FailuresPrintTheirDescriptionAndLeaveTheFolder) {
    ToolSandbox sandbox;
    const std::vector<std::string> images = photos(sandbox, 2);
    writeAnimatedGIF(sandbox.root() / "clip.gif", 12);
    std::ofstream(sandbox.root() / "broken.jpg") << "<!DOCTYPE html>";
    struct Case {
        std::vector<std::string> arguments;
        std::string message;
    };
    const Case cases[] = {
        {{}, "Add at least one image.\n"},
        {concat(images, {(sandbox.root() / "clip.gif").string()}),
         "clip.gif contains 12 frames. Tessel never discards frames silently.\n"},
        {concat({(sandbox.root() / "broken.jpg").string()}, images),
         "broken.jpg could not be read.\n"},
        {concat(images, {(sandbox.root() / "missing.png").string()}),
         "missing.png could not be read.\n"},
        // Given directly, a file is not filtered by its extension; inspection refuses it.
        {{(sandbox.root() / "notes.txt").string()}, "notes.txt could not be read.\n"},
        {concat({"--margin", "900"}, images),
         "The page, grid, margins, or spacing leave no room for images.\n"},
    };
    std::ofstream(sandbox.root() / "notes.txt") << "hello";
    std::size_t runs = 0;
    for (const Case& c : cases) {
        const ToolResult result = sandbox.run(c.arguments);
        EXPECT_EQ(result.exitStatus, 1) << c.message;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, c.message);
        // The run's folder was made first and stays, with nothing written into it.
        const auto folders = sandbox.runFolders();
        EXPECT_EQ(folders.size(), ++runs);
        for (const fs::path& folder : folders) EXPECT_TRUE(fs::is_empty(folder)) << folder;
    }
}

TEST(SheetTool, UnusableCacheFolderIsReported) {
    ToolSandbox sandbox;
    const std::vector<std::string> images = photos(sandbox, 1);
    // A file where the cache folder should be.
    std::ofstream(sandbox.cacheHome()) << "x";
    const ToolResult result = sandbox.run(images);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err.rfind("Could not create ", 0), 0u) << result.err;
}

}  // namespace
}  // namespace tessel::test
