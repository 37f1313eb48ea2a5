// Writing sheets without replacing anything, and reading them back to verify them.

#include <regex>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "PageBitmaps.hpp"
#include "formats/Encode.hpp"
#include "output/Output.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using enum SheetOutputFormat;
using testing::readBytes, testing::TemporaryFolder, testing::writeBytes;

template <class Action>
std::optional<TesselError> errorOf(Action action) {
    try {
        action();
    } catch (const TesselError& error) {
        return error;
    }
    return std::nullopt;
}

/// `count` noise pages of 24 × 32 pixels encoded for `output`, and their PDF.
SheetRenderResult makeResult(SheetOutputFormat output, int count, SheetSize pdfPage = {612, 792}) {
    SheetRenderResult result{{}, {}, {24, 32}, pdfPage, count};
    for (int i = 0; i < count; ++i)
        result.pages.push_back(
            *detail::encode(testing::noiseBitmap(24, 32, static_cast<unsigned>(i)),
                            output == jpeg ? jpeg : png, 0.9));
    result.pdf = detail::makePDF(result.pages, result.pdfPageSize);
    return result;
}

std::vector<fs::path> write(const SheetRenderResult& result, SheetOutputFormat output,
                            const fs::path& folder, const std::string& baseName = "Trip") {
    SheetRecipe recipe = tessel::recipe(SheetPreset::contact);
    recipe.output = output;
    return TesselRenderer::write(result, folder, baseName, recipe);
}

/// Names of the entries created in `folder` (hard links included) while `action` runs.
template <class Action>
std::vector<std::string> createdDuring(const fs::path& folder, Action action) {
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ::inotify_add_watch(watch, folder.c_str(), IN_CREATE);
    action();
    std::vector<std::string> names;
    alignas(inotify_event) char buffer[1 << 16];
    const ssize_t length = ::read(watch, buffer, sizeof buffer);
    for (char* at = buffer; at < buffer + std::max<ssize_t>(length, 0);) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        names.emplace_back(event->name);
        at += sizeof(inotify_event) + event->len;
    }
    ::close(watch);
    return names;
}

TEST(Write, NamesFilesThroughTemporaryFilesThatAreRemoved) {
    std::vector<std::string> twelve;
    for (int i = 1; i <= 12; ++i) twelve.push_back("Trip-" + std::to_string(i) + ".png");
    // Only a name of nothing but white space and line breaks is replaced; "\xFF" is no UTF-8.
    const std::vector<std::tuple<std::string, SheetOutputFormat, int, std::vector<std::string>>>
        cases{{"", pdf, 2, {"Contact Sheet.pdf"}},
              {" \t\r\n\u00A0\u2003\u2028\u3000", jpeg, 1, {"Contact Sheet.jpg"}},
              {" \u00A0Trip ", jpeg, 1, {" \u00A0Trip .jpg"}},
              {"\xFF", png, 1, {"\xFF.png"}},
              {"Trip", png, 12, twelve},
              {"Trip-sheet", jpeg, 2, {"Trip-sheet-1.jpg", "Trip-sheet-2.jpg"}},
              {"Trip", png, 0, {}}};
    const std::regex temporary{R"(\.orvane-tessel-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12})"};
    for (const auto& [baseName, output, pages, expected] : cases) {
        SCOPED_TRACE("'" + baseName + "' " + std::string(rawValue(output)));
        TemporaryFolder folder;
        const SheetRenderResult result = makeResult(output, pages);
        std::vector<fs::path> written;
        const auto created = createdDuring(
            folder.path(), [&] { written = write(result, output, folder.path(), baseName); });
        std::vector<std::string> names;
        for (std::size_t i = 0; i < written.size(); ++i) {
            names.push_back(written[i].filename().string());
            EXPECT_EQ(readBytes(written[i]), output == pdf ? result.pdf : result.pages[i]);
        }
        EXPECT_EQ(names, expected);
        // Each file was written first under a temporary name of its own, gone at the end.
        EXPECT_EQ(created.size(), 2 * names.size());
        std::size_t temporaries = 0;
        for (const std::string& name : created) temporaries += std::regex_match(name, temporary);
        EXPECT_EQ(temporaries, names.size());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(folder.names(), names);
    }
}

TEST(Write, ExistingFileStopsTheExportButAStaleTemporaryFileDoesNot) {
    TemporaryFolder folder;
    const std::string stale = ".orvane-tessel-6F9619FF-8B86-D011-B42D-00C04FC964FF";
    writeBytes(folder.path() / stale, {1, 2, 3});
    const std::vector<std::uint8_t> theirs{'m', 'i', 'n', 'e'};
    writeBytes(folder.path() / "Trip-2.png", theirs);
    EXPECT_EQ(errorOf([&] { write(makeResult(png, 3), png, folder.path()); }),
              TesselError::destinationExists());
    EXPECT_EQ(folder.names(), (std::vector<std::string>{stale, "Trip-1.png", "Trip-2.png"}));
    EXPECT_EQ(readBytes(folder.path() / "Trip-2.png"), theirs);
    EXPECT_NO_THROW(detail::verify(folder.path() / "Trip-1.png", 1, {24, 32}));
}

TEST(WriteAtomically, FailuresLeaveNoTemporaryFile) {
    TemporaryFolder folder;
    // A dangling link fails the link with EEXIST, as a file made meanwhile would; it stays.
    fs::create_symlink(folder.path() / "nowhere", folder.path() / "taken.png");
    const std::vector<std::pair<fs::path, TesselError>> cases{
        {folder.path() / "missing" / "a.png", TesselError::cannotEncode()},  // no temporary file
        {folder.path() / (std::string(300, 'x') + ".png"), TesselError::cannotEncode()},  // link
        {folder.path() / "taken.png", TesselError::destinationExists()}};
    for (const auto& [to, expected] : cases)
        EXPECT_EQ(errorOf([&] { detail::writeAtomically({1, 2, 3}, to); }), expected) << to;
    EXPECT_TRUE(fs::is_symlink(folder.path() / "taken.png"));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"taken.png"}));
}

const TesselError kPageCount = TesselError::verificationFailed("PDF page count does not match");
const TesselError kPageSize = TesselError::verificationFailed("PDF page size does not match");
const TesselError kImage = TesselError::verificationFailed("dimensions or page count do not match");

std::optional<TesselError> verifyError(const fs::path& file, std::int64_t pages, SheetSize size) {
    return errorOf([&] { detail::verify(file, pages, size); });
}

TEST(VerifyPDF, PageCountAndMediaBoxWithinHalfAPoint) {
    TemporaryFolder folder;
    const std::vector<std::tuple<int, SheetSize, std::int64_t, std::optional<TesselError>>> cases{
        {1, {612.4, 791.6}, 1, std::nullopt}, {1, {612.5, 792}, 1, kPageSize},
        {1, {612, 791.5}, 1, kPageSize},      {1, {611.5, 792}, 1, kPageSize},
        {5, {612, 792}, 5, std::nullopt},     {5, {612, 792}, 4, kPageCount},
        {5, {612, 792}, 6, kPageCount},       {0, {612, 792}, 0, kPageCount}};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [pages, written, expectedPages, expected] = cases[i];
        // The extension is read in any case.
        const auto file = folder.path() / (std::to_string(i) + (i % 2 ? ".pdf" : ".PdF"));
        writeBytes(file, makeResult(pdf, pages, written).pdf);
        EXPECT_EQ(verifyError(file, expectedPages, {612, 792}), expected) << i;
    }
    const auto five = folder.path() / "4.PdF";  // now cut in half
    fs::resize_file(five, fs::file_size(five) / 2);
    EXPECT_EQ(verifyError(five, 5, {612, 792}), kPageCount);
    EXPECT_EQ(verifyError(folder.path() / "absent.pdf", 1, {612, 792}), kPageCount);
}

TEST(VerifyImage, PixelSizeDropsTheFractionAndCountMustMatch) {
    TemporaryFolder folder;
    const auto pngFile = folder.path() / "a.png", jpgFile = folder.path() / "a.jpg";
    const auto page = [&](const fs::path& file, std::int64_t width, SheetOutputFormat format) {
        writeBytes(file, *detail::encode(testing::noiseBitmap(width, 33, 1), format, 0.9));
    };
    page(pngFile, 25, png);
    page(jpgFile, 30, jpeg);
    EXPECT_EQ(verifyError(pngFile, 1, {25, 33}), std::nullopt);
    EXPECT_EQ(verifyError(pngFile, 1, {25.9, 33.2}), std::nullopt);
    EXPECT_EQ(verifyError(pngFile, 1, {26, 33}), kImage);
    EXPECT_EQ(verifyError(pngFile, 1, {25, 32.9}), kImage);
    EXPECT_EQ(verifyError(pngFile, 2, {25, 33}), kImage);
    EXPECT_EQ(verifyError(jpgFile, 1, {30, 33}), std::nullopt);
    EXPECT_EQ(verifyError(jpgFile, 1, {33, 30}), kImage);
    writeBytes(folder.path() / "garbage.png", {'n', 'o', 't'});
    EXPECT_EQ(verifyError(folder.path() / "garbage.png", 1, {30, 20}), kImage);
    EXPECT_EQ(verifyError(folder.path() / "absent.png", 1, {30, 20}), kImage);
    // An earlier file of another size, deleted since, must not be remembered under its name.
    fs::remove(pngFile);
    page(pngFile, 26, png);
    EXPECT_EQ(verifyError(pngFile, 1, {26, 33}), std::nullopt);
}

}  // namespace
}  // namespace tessel
