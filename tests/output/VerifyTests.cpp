#include <gtest/gtest.h>

#include "tessel/TesselError.hpp"

#include "OutputFixtures.hpp"
#include "output/Output.hpp"

namespace tessel {
namespace {

using testing::TemporaryFolder;

const TesselError kPageCount = TesselError::verificationFailed("PDF page count does not match");
const TesselError kPageSize = TesselError::verificationFailed("PDF page size does not match");
const TesselError kImage = TesselError::verificationFailed("dimensions or page count do not match");

std::optional<TesselError> verifyError(const std::filesystem::path& file, std::int64_t pages,
                                       SheetSize size) {
    try {
        detail::verify(file, pages, size);
    } catch (const TesselError& error) {
        return error;
    }
    return std::nullopt;
}

std::filesystem::path writePDF(const TemporaryFolder& folder, const std::string& name, int pages,
                               SheetSize size) {
    const auto file = folder.path() / name;
    std::vector<detail::Bitmap> bitmaps(static_cast<std::size_t>(pages),
                                        testing::solidBitmap(4, 4, {}));
    testing::writeBytes(file, detail::makePDF(bitmaps, size));
    return file;
}

TEST(VerifyPDF, MediaBoxWithinHalfAPoint) {
    struct Case {
        SheetSize written;
        std::optional<TesselError> expected;
    };
    const std::vector<Case> cases{
        {{612, 792}, std::nullopt}, {{612.4, 791.6}, std::nullopt}, {{612.5, 792}, kPageSize},
        {{612, 791.5}, kPageSize},  {{611.5, 792}, kPageSize},      {{792, 612}, kPageSize},
    };
    TemporaryFolder folder;
    int index = 0;
    for (const auto& c : cases) {
        const auto file = writePDF(folder, "page" + std::to_string(index++) + ".pdf", 1, c.written);
        EXPECT_EQ(verifyError(file, 1, {612, 792}), c.expected)
            << c.written.width << " x " << c.written.height;
    }
}

TEST(VerifyPDF, PageCountMustMatch) {
    TemporaryFolder folder;
    const auto five = writePDF(folder, "five.pdf", 5, {612, 792});
    EXPECT_EQ(verifyError(five, 5, {612, 792}), std::nullopt);
    EXPECT_EQ(verifyError(five, 4, {612, 792}), kPageCount);
    EXPECT_EQ(verifyError(five, 6, {612, 792}), kPageCount);
    // No page 1 to measure.
    EXPECT_EQ(verifyError(writePDF(folder, "none.pdf", 0, {612, 792}), 0, {612, 792}), kPageCount);
}

TEST(VerifyPDF, ExtensionIsComparedWithoutCase) {
    TemporaryFolder folder;
    const auto file = writePDF(folder, "Sheet.PdF", 2, {612, 792});
    EXPECT_EQ(verifyError(file, 2, {612, 792}), std::nullopt);
    EXPECT_EQ(verifyError(file, 3, {612, 792}), kPageCount);
}

TEST(VerifyPDF, DamagedFilesFailAsPageCount) {
    TemporaryFolder folder;
    const auto whole = testing::readBytes(writePDF(folder, "whole.pdf", 2, {612, 792}));
    const std::vector<std::pair<std::string, std::vector<std::uint8_t>>> cases{
        {"empty.pdf", {}},
        {"text.pdf", {'h', 'e', 'l', 'l', 'o'}},
        {"cut.pdf",
         std::vector<std::uint8_t>(whole.begin(),
                                   whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2))},
    };
    for (const auto& [name, bytes] : cases) {
        testing::writeBytes(folder.path() / name, bytes);
        EXPECT_EQ(verifyError(folder.path() / name, 2, {612, 792}), kPageCount) << name;
    }
    EXPECT_EQ(verifyError(folder.path() / "absent.pdf", 1, {612, 792}), kPageCount);
}

TEST(VerifyImage, PixelSizeDropsTheFraction) {
    TemporaryFolder folder;
    const auto file = folder.path() / "page.png";
    testing::writeBytes(file,
                        *detail::encode(testing::solidBitmap(2550, 3300, {255, 255, 255, 255}),
                                        SheetOutputFormat::png, 1));
    EXPECT_EQ(verifyError(file, 1, {2550, 3300}), std::nullopt);
    EXPECT_EQ(verifyError(file, 1, {2550.9, 3300.2}), std::nullopt);
    EXPECT_EQ(verifyError(file, 1, {2551, 3300}), kImage);
    EXPECT_EQ(verifyError(file, 1, {2550, 3299.9}), kImage);
    EXPECT_EQ(verifyError(file, 2, {2550, 3300}), kImage);
}

TEST(VerifyImage, JpegAndDamagedFiles) {
    TemporaryFolder folder;
    const auto jpeg = folder.path() / "page.jpg";
    testing::writeBytes(
        jpeg, *detail::encode(testing::noiseBitmap(30, 20, 1), SheetOutputFormat::jpeg, 0.9));
    EXPECT_EQ(verifyError(jpeg, 1, {30, 20}), std::nullopt);
    EXPECT_EQ(verifyError(jpeg, 1, {20, 30}), kImage);

    const auto garbage = folder.path() / "garbage.png";
    testing::writeBytes(garbage, {'n', 'o', 't', ' ', 'p', 'n', 'g'});
    EXPECT_EQ(verifyError(garbage, 1, {30, 20}), kImage);
    EXPECT_EQ(verifyError(folder.path() / "absent.png", 1, {30, 20}), kImage);
}

TEST(VerifyImage, FileRewrittenAtTheSamePathIsReadAfresh) {
    // An export into a folder where an earlier, since deleted, export of another size
    // lived must see the new file.
    TemporaryFolder folder;
    const auto file = folder.path() / "Trip.png";
    const auto writePage = [&](std::int64_t width) {
        std::filesystem::remove(file);
        testing::writeBytes(
            file, *detail::encode(testing::noiseBitmap(width, 10, 1), SheetOutputFormat::png, 1));
    };
    writePage(12);
    EXPECT_EQ(verifyError(file, 1, {12, 10}), std::nullopt);
    writePage(14);
    EXPECT_EQ(verifyError(file, 1, {14, 10}), std::nullopt);
}

}  // namespace
}  // namespace tessel
