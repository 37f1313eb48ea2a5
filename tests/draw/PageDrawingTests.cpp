#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tessel/TesselError.hpp"

#include "GeneratedImages.hpp"
#include "draw/PageDrawing.hpp"

namespace tessel {
namespace {

using detail::renderPage;
using testing::pixelAt;
using testing::Rgba;
using testing::ScratchFolder;
using testing::solidImage;

const Rgba white{255, 255, 255, 255};
const Rgba red{255, 0, 0, 255};
const Rgba green{0, 255, 0, 255};
const Rgba blue{0, 0, 255, 255};

SheetRecipe plainRecipe(SheetFit fit = SheetFit::fit) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.caption = SheetCaption::none;
    r.fit = fit;
    return r;
}

SheetInput inputFor(const std::filesystem::path& file, std::int64_t width, std::int64_t height) {
    SheetImageInfo info;
    info.width = width;
    info.height = height;
    return {file, info};
}

SheetCell cellAt(SheetRect imageFrame, std::int64_t page = 0) {
    return {page, imageFrame, imageFrame, std::nullopt};
}

TesselError renderError(const std::vector<SheetInput>& inputs,
                        const std::vector<SheetCell>& cells) {
    try {
        renderPage(0, inputs, cells, plainRecipe());
    } catch (const TesselError& error) {
        return error;
    }
    ADD_FAILURE() << "the page was drawn";
    return TesselError::noImages();
}

TEST(DecodeSize, IsTheLongerSideTimesTwoPointTwoRoundedDown) {
    EXPECT_EQ(detail::decodeSize({72, 1330.2, 346.67, 351.8}), 773);
    EXPECT_EQ(detail::decodeSize({0, 0, 500, 100}), 1100);
    EXPECT_EQ(detail::decodeSize({0, 0, 0.1, 0.2}), 1);
}

TEST(RenderPage, FillsTheWholePageWithTheClampedBackground) {
    const struct {
        SheetColor background;
        Rgba expected;
    } cases[] = {
        {{1.5, -1, 0.5, 1}, {255, 0, 128, 255}},
        {{std::nan(""), 0.25, std::nan(""), 1}, {0, 64, 0, 255}},
        {{0, 0, 1, 7}, {0, 0, 255, 255}},
    };
    for (const auto& c : cases) {
        SheetRecipe r = plainRecipe();
        r.background = c.background;
        const auto page = renderPage(0, {}, {}, r);
        ASSERT_EQ(page.width, 1240);
        ASSERT_EQ(page.height, 1754);
        for (const auto& [x, y] : {std::pair{0.0, 0.0}, {620.0, 877.0}, {1239.0, 1753.0}}) {
            const Rgba pixel = pixelAt(page, x, y);
            EXPECT_TRUE(near(pixel, c.expected, 0)) << pixel << " at " << x << ", " << y;
        }
    }
}

TEST(RenderPage, FitLetterboxesAndFillCoversOnlyTheImageFrame) {
    ScratchFolder folder;
    save(solidImage(400, 300, {0, 255, 0}), folder / "wide.png");
    const std::vector inputs{inputFor(folder / "wide.png", 400, 300)};
    const std::vector cells{cellAt({100, 100, 300, 300})};

    // Fit: 300 × 225 centred, so background shows above and below.
    const auto fitted = renderPage(0, inputs, cells, plainRecipe(SheetFit::fit));
    EXPECT_TRUE(near(pixelAt(fitted, 250, 250), green, 0));
    EXPECT_TRUE(near(pixelAt(fitted, 101, 250), green, 0));
    EXPECT_TRUE(near(pixelAt(fitted, 398, 250), green, 0));
    EXPECT_TRUE(near(pixelAt(fitted, 250, 120), white, 0));
    EXPECT_TRUE(near(pixelAt(fitted, 250, 380), white, 0));

    // Fill: 400 × 300 centred and cropped to the frame, nothing beyond it.
    const auto filled = renderPage(0, inputs, cells, plainRecipe(SheetFit::fill));
    for (const auto& [x, y] : {std::pair{100.0, 100.0}, {399.0, 399.0}, {100.0, 399.0}})
        EXPECT_TRUE(near(pixelAt(filled, x, y), green, 0)) << x << ", " << y;
    for (const auto& [x, y] :
         {std::pair{99.0, 250.0}, {400.0, 250.0}, {250.0, 99.0}, {250.0, 400.0}})
        EXPECT_TRUE(near(pixelAt(filled, x, y), white, 0)) << x << ", " << y;
}

TEST(RenderPage, DrawsQuarterTurnedPhotosUpright) {
    ScratchFolder folder;
    // Stored red left, blue right, with orientation 6: upright, red is on top.
    const auto stored =
        joined(solidImage(200, 300, {255, 0, 0}), solidImage(200, 300, {0, 0, 255}), false);
    save(stored, folder / "turned.jpg", "[Q=95]", 6);
    const std::vector inputs{inputFor(folder / "turned.jpg", 300, 400)};
    const std::vector cells{cellAt({100, 100, 300, 400})};

    const auto page = renderPage(0, inputs, cells, plainRecipe());
    const Rgba top = pixelAt(page, 250, 420);
    const Rgba bottom = pixelAt(page, 250, 180);
    EXPECT_TRUE(near(top, red, 40)) << top;
    EXPECT_TRUE(near(bottom, blue, 40)) << bottom;
}

TEST(RenderPage, CompositesTransparencyOverTheBackground) {
    ScratchFolder folder;
    const auto picture =
        joined(solidImage(100, 100, {0, 0, 0, 0}), solidImage(100, 100, {0, 0, 255, 255}), false);
    save(picture, folder / "cutout.png");
    SheetRecipe r = plainRecipe();
    r.background = {1, 0, 0, 1};
    const auto page = renderPage(0, {inputFor(folder / "cutout.png", 200, 100)},
                                 {cellAt({100, 100, 200, 100})}, r);
    EXPECT_TRUE(near(pixelAt(page, 150, 150), red, 0));
    EXPECT_TRUE(near(pixelAt(page, 250, 150), blue, 0));
}

TEST(RenderPage, ReportsTheFirstUnreadableFileOfThePage) {
    ScratchFolder folder;
    save(solidImage(300, 200, {10, 20, 30}), folder / "fine.jpg");
    save(solidImage(1200, 900, {200, 30, 30}), folder / "cut.jpg", "[Q=95]");
    testing::truncateFile(folder / "cut.jpg", 3000);

    const std::vector inputs{inputFor(folder / "fine.jpg", 300, 200),
                             inputFor(folder / "cut.jpg", 1200, 900),
                             inputFor(folder / "gone.jpg", 300, 200)};
    const std::vector cells{cellAt({0, 0, 100, 100}), cellAt({200, 0, 100, 100}),
                            cellAt({400, 0, 100, 100})};
    EXPECT_EQ(renderError(inputs, cells), TesselError::cannotRead("cut.jpg"));
    EXPECT_EQ(renderError({inputs[0], inputs[2]}, {cells[0], cells[2]}),
              TesselError::cannotRead("gone.jpg"));

    // Cells of other pages are not opened.
    const std::vector otherPage{cells[0], cellAt({200, 0, 100, 100}, 1),
                                cellAt({400, 0, 100, 100}, 1)};
    EXPECT_NO_THROW(renderPage(0, inputs, otherPage, plainRecipe()));
}

TEST(RenderPage, RefusesPagesTooLargeToDraw) {
    SheetRecipe r = plainRecipe();
    r.paper = SheetPaper::custom;
    r.customWidth = 40'000;
    r.customHeight = 400;
    try {
        renderPage(0, {}, {}, r);
        FAIL() << "a page wider than cairo allows was drawn";
    } catch (const TesselError& error) {
        EXPECT_EQ(error, TesselError::cannotCreateContext());
    }
}

}  // namespace
}  // namespace tessel
