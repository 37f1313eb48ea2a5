// tessel-sheet run as a user would: sheets, standard input, failures, --inspect, --list-presets

#include <cmath>
#include <filesystem>
#include <fstream>
#include <regex>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tessel/SheetRecipe.hpp"

#include "DngWriter.hpp"
#include "Tool.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

/// `count` small photographs p10.jpg, p11.jpg ... in the sandbox; returns their paths.
Strings photos(const ToolSandbox& sandbox, int count) {
    Strings paths;
    for (int i = 10; i < 10 + count; ++i)
        writeImage(paths.emplace_back(sandbox.root() / ("p" + std::to_string(i) + ".jpg")), 60, 40,
                   {10, 120, 200});
    return paths;
}

Strings concat(Strings a, const Strings& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(SheetTool, EachRecipeWritesOnePdfOfItsPagesInANewCacheFolder) {
    // Thirteen images: contact holds 12 a page, portfolio 6, proof 20, square 9.
    const std::tuple<Strings, std::size_t, double, double> cases[] = {
        {{}, 2, 595.28, 841.89},  // contact
        {{"--preset", "contact"}, 2, 595.28, 841.89},
        {{"--preset", "portfolio"}, 3, 595.28, 841.89},
        {{"--preset", "proof"}, 1, 841.89, 595.28},
        {{"--preset", "square"}, 2, 720, 720},
        {{"--recipe", "square.json"}, 2, 720, 720},
        {{"--layout", "Big squares", "--rows", "2"}, 3, 720, 720}};
    ToolSandbox sandbox;
    std::ofstream(sandbox.root() / "square.json") << encodeJSON(recipe(SheetPreset::square));
    sandbox.saveLayouts({"Big squares"});
    const Strings images = photos(sandbox, 13);
    const std::regex uuid{"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"};
    for (const auto& [arguments, pages, width, height] : cases) {
        SCOPED_TRACE(arguments.empty() ? "no recipe" : arguments[1]);
        const ToolResult result = sandbox.run(concat(arguments, images));
        const auto out = lines(result.out);
        ASSERT_EQ(out.size(), 2u) << result;
        EXPECT_EQ(result, (ToolResult{0, "Created a contact sheet.\n" + out[1] + "\n", ""}));
        const fs::path pdf = out[1];
        EXPECT_EQ(pdf, sandbox.shortcuts() / pdf.parent_path().filename() / "Contact Sheet.pdf");
        EXPECT_TRUE(std::regex_match(pdf.parent_path().filename().string(), uuid)) << pdf;
        EXPECT_EQ(pdfPageSizes(pdf).size(), pages);
        for (const auto& [w, h] : pdfPageSizes(pdf))
            EXPECT_LT(std::hypot(w - width, h - height), 0.01) << w << "x" << h;
    }
    EXPECT_EQ(names(sandbox.shortcuts()).size(), std::size(cases));  // one for every run
}

TEST(SheetTool, ImageFormatsWriteNumberedPagesShapedByTheFields) {
    ToolSandbox sandbox;
    const Strings images = photos(sandbox, 2);
    for (const auto& [format, extension] :
         {std::pair<std::string, std::string>{"png", ".png"}, {"jpeg", ".jpg"}}) {
        SCOPED_TRACE(format);
        const ToolResult result = sandbox.run(
            concat({"--format", format, "--size", "800x500", "--background", "#00FF00", "--columns",
                    "1", "--rows", "1", "--margin", "100", "--name", "Trip"},
                   images));
        const auto out = lines(result.out);
        ASSERT_EQ(out.size(), 3u) << result;
        const fs::path folder = fs::path(out[1]).parent_path();
        EXPECT_EQ(out, (Strings{"Created 2 contact sheet pages.", folder / ("Trip-1" + extension),
                                folder / ("Trip-2" + extension)}));
        EXPECT_EQ(names(folder), (Strings{"Trip-1" + extension, "Trip-2" + extension}));  // no PDF
        const auto [width, height, margin] = readPicture(out[2], 10, 10);
        EXPECT_EQ(std::pair(width, height), std::pair(800, 500));
        for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(margin[c], c == 1 ? 255 : 0, 8);  // green
    }
}

// A sheet for printing: 300 ppi A4 with a title and page numbers. The PDF's pages are one
// 2480 × 3508 sRGB image each on an A4 page and the document names its title and creator;
// PNG and JPEG pages carry their density and sRGB.
TEST(SheetTool, PrintSheetsAreHighResolutionTaggedAndTitled) {
    ToolSandbox sandbox;
    const Strings images = photos(sandbox, 13);
    const Strings print{
        "--resolution",        "300", "--title", "Trip, day 1", "--page-numbers", "--output-dir",
        sandbox.root() / "out"};
    ASSERT_EQ(sandbox.run(concat(print, images)).exitStatus, 0);
    const fs::path pdf = sandbox.root() / "out/Contact Sheet.pdf";
    const std::string info = runProgram(sandbox.root(), {"pdfinfo", pdf}).out;
    EXPECT_TRUE(std::regex_search(info, std::regex("Title: +Trip, day 1\n"))) << info;
    EXPECT_TRUE(std::regex_search(info, std::regex("\nCreator: +Tessel \\S+\n"))) << info;
    EXPECT_TRUE(std::regex_search(info, std::regex("\nCreationDate: +\\S"))) << info;
    const Strings listed = lines(runProgram(sandbox.root(), {"pdfimages", "-list", pdf}).out);
    ASSERT_EQ(listed.size(), 4u);  // a heading, a rule and one image per page
    for (std::size_t i = 2; i < listed.size(); ++i)
        EXPECT_TRUE(std::regex_search(listed[i], std::regex(R"(image +2480 +3508 +icc +3 +8 )")))
            << listed[i];
    for (const auto& [w, h] : pdfPageSizes(pdf))
        EXPECT_LT(std::hypot(w - 595.28, h - 841.89), 0.01);

    using namespace std::string_literals;
    const std::pair<std::string, Strings> pages[] = {
        // sRGB, perceptual; 11811 pixels per metre both ways
        {"png", {"sRGB\0"s, "pHYs\0\0\x2E\x23\0\0\x2E\x23\x01"s}},
        // JFIF in dots per inch, 300 both ways; the profile
        {"jpeg", {"JFIF\0\x01\x01\x01\x01\x2C\x01\x2C"s, "ICC_PROFILE\0"s}}};
    for (const auto& [format, tags] : pages) {
        ASSERT_EQ(sandbox.run(concat({"--format", format, "--name", format}, concat(print, images)))
                      .exitStatus,
                  0);
        const fs::path first =
            sandbox.root() / "out" / (format + "-1." + (format == "png" ? "png" : "jpg"));
        const auto [width, height, corner] = readPicture(first);
        EXPECT_EQ(std::pair(width, height), std::pair(2480, 3508));
        const std::string bytes = fileBytes(first);
        for (const std::string& tag : tags)
            EXPECT_NE(bytes.find(tag), std::string::npos) << format << " " << tag.substr(0, 4);
    }
}

TEST(SheetTool, HeifPhotosAreReadLikeAnyOther) {
    // The tool loads the HEIF decoder only when a file needs it.
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "phone.heic", 60, 40, {220, 20, 20});
    const ToolResult inspected = sandbox.run({"--inspect", "phone.heic"});
    EXPECT_EQ(inspected.exitStatus, 0) << inspected;
    EXPECT_NE(inspected.out.find(R"("width":60,"height":40,"frameCount":1)"), std::string::npos)
        << inspected;
    const ToolResult result =
        sandbox.run({"--format", "png", "--size", "600x400", "--columns", "1", "--rows", "1",
                     "--margin", "0", "--caption", "none", "phone.heic"});
    const auto out = lines(result.out);
    ASSERT_EQ(out.size(), 2u) << result;
    const auto [width, height, middle] = readPicture(out[1], 300, 200);
    EXPECT_EQ(std::pair(width, height), std::pair(600, 400));
    for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(middle[c], c == 0 ? 220 : 20, 24) << c;
}

TEST(SheetTool, CameraRawFilesAreDrawnAndThoseBesideTheirJpegAreShownByIt) {
    ToolSandbox sandbox;
    const fs::path shoot = sandbox.root() / "Shoot";
    fs::create_directories(shoot);
    // A white band at the top, as most photographs have something white: LibRaw brightens
    // a development until its brightest hundredth is white.
    const auto solid = [](RGB c) {
        tessel::testing::RgbPicture picture{300, 200, {}};
        for (int i = 0; i < 300 * 200; ++i) {
            const RGB pixel = i < 300 * 20 ? RGB{255, 255, 255} : c;
            picture.rgb.insert(picture.rgb.end(), pixel.begin(), pixel.end());
        }
        return picture;
    };
    tessel::testing::writeDng(shoot / "IMG_1.CR2", solid({200, 30, 30}));
    writeImage(shoot / "IMG_1.JPG", 300, 200, {30, 30, 200});
    tessel::testing::writeDng(shoot / "IMG_2.NEF", solid({30, 190, 40}), {.thumbnailLonger = 0});
    const ToolResult result =
        sandbox.run({"--format", "png", "--size", "1200x400", "--columns", "2", "--rows", "1",
                     "--margin", "0", "--spacing", "0", "--caption", "none", "Shoot"});
    EXPECT_EQ(result.err, "tessel-sheet: 1 RAW file shown by its JPEG.\n");
    const auto out = lines(result.out);
    ASSERT_EQ(out.size(), 2u) << result;
    const auto left = std::get<2>(readPicture(out[1], 300, 250));
    const auto right = std::get<2>(readPicture(out[1], 900, 250));
    EXPECT_NEAR(left[2], 200, 24);   // the JPEG
    EXPECT_NEAR(right[1], 190, 24);  // the RAW alone, developed
    EXPECT_NEAR(right[0], 30, 24);
}

TEST(SheetTool, StandardInputIsStoredUnderItsNameBeforeInspection) {
    ToolSandbox sandbox;
    EXPECT_EQ(sandbox.run({"--stdin-name", "upload.png", "-"}, "<html></html>"),
              (ToolResult{1, "", "upload.png could not be read.\nThe file is not an image.\n"}));
    EXPECT_EQ(fileBytes(sandbox.shortcuts() / names(sandbox.shortcuts()).at(0) / "upload.png"),
              "<html></html>");

    writeImage(sandbox.root() / "source.jpg", 50, 30, {1, 2, 3});
    const std::string bytes = fileBytes(sandbox.root() / "source.jpg");
    for (const auto& [arguments, name] : std::vector<std::pair<Strings, std::string>>{
             {{"--stdin-name", "photo.jpg", "-", "-"}, "photo.jpg"}, {{"-", "-"}, "image"}}) {
        // The same image twice: standard input is read once and fills two cells.
        const ToolResult result = sandbox.run(arguments, bytes);
        ASSERT_EQ(result.exitStatus, 0) << result;
        const fs::path folder = fs::path(lines(result.out).at(1)).parent_path();
        EXPECT_EQ(fileBytes(folder / name), bytes) << name;
        EXPECT_EQ(names(folder), (Strings{"Contact Sheet.pdf", name}));
    }
}

TEST(SheetTool, FailuresPrintTheirDescriptionAndLeaveTheFolder) {
    ToolSandbox sandbox;
    const Strings images = photos(sandbox, 2);
    writeImage(sandbox.root() / "clip.gif", 16, 16, {200, 40, 40}, 12);
    std::ofstream(sandbox.root() / "broken.jpg") << "<!DOCTYPE html>";
    const std::pair<Strings, std::string> cases[] = {
        {{}, "Add at least one image.\n"},
        {concat(images, {"clip.gif"}),
         "clip.gif contains 12 frames. Tessel never discards frames silently.\n"},
        {concat({"broken.jpg"}, images),
         "broken.jpg could not be read.\nThe file is not an image.\n"},
        {concat(images, {"missing.png"}),
         "missing.png could not be read.\nThere is no such file or folder.\n"}};
    std::size_t runs = 0;
    for (const auto& [arguments, message] : cases) {
        EXPECT_EQ(sandbox.run(arguments), (ToolResult{1, "", message}));
        // The run's folder was made first and stays, with nothing written into it.
        const Strings folders = names(sandbox.shortcuts());
        EXPECT_EQ(folders.size(), ++runs);
        for (const auto& folder : folders)
            EXPECT_EQ(names(sandbox.shortcuts() / folder), Strings{});
    }
}

// A folder's broken links and the subfolders its user cannot open are left out, and the rest
// of the folder still makes the sheet: one page per image here.
TEST(SheetTool, AFolderGivesEveryImageItsUserCanRead) {
    ToolSandbox sandbox;
    const fs::path shoot = sandbox.root() / "shoot";
    fs::create_directories(shoot / "locked");
    for (int i = 0; i < 4; ++i) {
        fs::create_symlink(shoot / "gone.jpg", shoot / ("broken" + std::to_string(i) + ".jpg"));
        writeImage(shoot / ("p" + std::to_string(i) + ".jpg"), 60, 40, {10, 120, 200});
    }
    writeImage(shoot / "locked/private.jpg", 60, 40, {10, 120, 200});
    fs::permissions(shoot / "locked",
                    fs::perms::owner_write | fs::perms::owner_read | fs::perms::owner_exec |
                        fs::perms::group_all | fs::perms::others_all,
                    fs::perm_options::remove);
    // Root opens any folder; without the capabilities that let it, it keeps to the permission
    // bits like anyone else.
    const Strings asUser =
        ::geteuid() == 0 ? Strings{"setpriv", "--bounding-set=-dac_override,-dac_read_search", "--"}
                         : Strings{};
    if (runProgram(shoot, concat(asUser, {"sh", "-c", "test -r locked"})).exitStatus != 1)
        GTEST_SKIP() << "no way to make a folder unreadable here (setpriv missing or refused)";
    const ToolResult result =
        runProgram(sandbox.root(),
                   concat(asUser, {TESSEL_SHEET, "--columns", "1", "--rows", "1", "--format", "png",
                                   "--output-dir", sandbox.root().string(), shoot.string()}),
                   sandbox.environment());
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(lines(result.out).front(), "Created 4 contact sheet pages.");
    fs::permissions(shoot / "locked", fs::perms::owner_all, fs::perm_options::add);
}

TEST(InspectTool, PrintsOneJsonLinePerImageAndFailsWhenAnyFails) {
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "photo.png", 64, 48, {9, 9, 9});
    writeImage(sandbox.root() / "clip.gif", 16, 16, {9, 9, 9}, 3);
    std::ofstream(sandbox.root() / "broken.jpg") << "nope";
    const std::string bytes = std::to_string(fs::file_size(sandbox.root() / "photo.png"));
    // Keys come in a reader's order, not sorted.
    const std::string expected =
        R"({"file":"photo.png","width":64,"height":48,"frameCount":1,"bytes":)" + bytes +
        ",\"dateTaken\":null,\"cameraModel\":null}\n{\"file\":\"clip.gif\",\"error\":\"clip.gif "
        "contains 3 frames. Tessel never discards frames silently.\"}\n{\"file\":\"broken.jpg\","
        "\"error\":\"broken.jpg could not be read.\",\"cause\":\"The file is not an image.\"}\n";
    EXPECT_EQ(sandbox.run({"--inspect", "photo.png", "clip.gif", "broken.jpg"}),
              (ToolResult{1, expected, ""}));
    EXPECT_EQ(sandbox.run({"--inspect", "photo.png"}).exitStatus, 0);
    EXPECT_EQ(names(sandbox.shortcuts()), Strings{});  // inspecting makes no folder
}

TEST(ListingTool, PresetsThenSavedLayouts) {
    ToolSandbox sandbox;
    const std::string presets =
        "Presets (--preset NAME):\n  contact     Contact Sheet\n  portfolio   Portfolio\n"
        "  proof       Proof Grid\n  square      Square Grid\n";
    EXPECT_EQ(sandbox.run({"--list-presets"}),
              (ToolResult{0, presets + "Saved layouts: none\n", ""}));
    sandbox.saveLayouts({"Big squares", "Trip"});
    EXPECT_EQ(
        sandbox.run({"--list-presets"}),
        (ToolResult{0, presets + "Saved layouts (--layout NAME):\n  Big squares\n  Trip\n", ""}));
}

}  // namespace
}  // namespace tessel::test
