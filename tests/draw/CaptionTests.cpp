#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "GeneratedImages.hpp"
#include "draw/PageDrawing.hpp"

namespace tessel {
namespace {

using detail::captionText;
using detail::PageCanvas;
using testing::pixelAt;

SheetInput photo(std::int64_t width, std::int64_t height,
                 std::optional<std::chrono::system_clock::time_point> date = std::nullopt,
                 std::optional<std::string> camera = std::nullopt) {
    SheetImageInfo info;
    info.width = width;
    info.height = height;
    info.dateTaken = date;
    info.cameraModel = std::move(camera);
    return {"/photos/IMG_0042.HEIC", info};
}

TEST(CaptionText, BuildsEachModeFromItsPieces) {
    const SheetInput input = photo(4032, 3024, std::nullopt, "  Canon EOS 40D ");
    const struct {
        SheetCaption mode;
        const char* text;
    } cases[] = {
        {SheetCaption::none, ""},
        {SheetCaption::filename, "IMG_0042"},
        {SheetCaption::dimensions, "4032 × 3024"},
        {SheetCaption::details, "IMG_0042 · 4032 × 3024"},
        {SheetCaption::date, "Date unavailable"},
        {SheetCaption::filenameAndDate, "IMG_0042 · Date unavailable"},
        {SheetCaption::camera, "  Canon EOS 40D "},
    };
    for (const auto& c : cases) EXPECT_EQ(captionText(input, c.mode), c.text) << rawValue(c.mode);

    EXPECT_EQ(captionText(photo(1, 1), SheetCaption::camera), "Camera unavailable");
    EXPECT_EQ(captionText({"/a/holiday.2024.jpeg", {}}, SheetCaption::filename), "holiday.2024");
}

TEST(CaptionText, ShowsTheCaptureDateWithoutTime) {
    using namespace std::chrono;
    const auto noon = sys_days{2024y / January / 5} + 12h;
    const std::string text = captionText(photo(1, 1, noon), SheetCaption::date);
    EXPECT_NE(text.find("2024"), std::string::npos) << text;
    EXPECT_EQ(text.find("12:00"), std::string::npos) << text;
    EXPECT_NE(text, "Date unavailable");
}

/// The inked pixels' bounds in the layout's coordinates: [left, right) × [bottom, top).
struct Ink {
    double left = 1e9, right = -1e9, bottom = 1e9, top = -1e9;
    bool any() const { return right > left; }
};

Ink inkOf(const detail::Bitmap& page, const SheetRect& within) {
    Ink ink;
    for (double y = within.y; y < within.y + within.height; ++y)
        for (double x = within.x; x < within.x + within.width; ++x) {
            const auto pixel = pixelAt(page, x, y);
            if (pixel.red > 200 && pixel.green > 200 && pixel.blue > 200) continue;
            ink.left = std::min(ink.left, x);
            ink.right = std::max(ink.right, x + 1);
            ink.bottom = std::min(ink.bottom, y);
            ink.top = std::max(ink.top, y + 1);
        }
    return ink;
}

constexpr SheetRect wholeCanvas{0, 0, 600, 200};
constexpr SheetRect band{100, 80, 300, 30};

detail::Bitmap captioned(std::string_view text, SheetCaptionAlignment alignment,
                         double fontSize = 18, SheetRect where = band) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.captionAlignment = alignment;
    r.captionFontSize = fontSize;
    PageCanvas canvas(600, 200, SheetColor::white());
    canvas.drawCaption(text, where, r);
    return canvas.finish();
}

TEST(CaptionDrawing, AlignsTheLineInsideItsBand) {
    const Ink left = inkOf(captioned("HHHH", SheetCaptionAlignment::left), wholeCanvas);
    const Ink right = inkOf(captioned("HHHH", SheetCaptionAlignment::right), wholeCanvas);
    const Ink centre = inkOf(captioned("HHHH", SheetCaptionAlignment::center), wholeCanvas);
    ASSERT_TRUE(left.any() && right.any() && centre.any());

    // Ink stays within a glyph's side bearing of the edge it is aligned to.
    EXPECT_GE(left.left, band.x);
    EXPECT_LE(left.left, band.x + 3);
    EXPECT_LE(right.right, band.x + band.width);
    EXPECT_GE(right.right, band.x + band.width - 3);
    EXPECT_NEAR((centre.left + centre.right) / 2, band.x + band.width / 2, 2);

    // Baseline half the spare height above the band's bottom: capitals sit on y = 86.
    EXPECT_NEAR(left.bottom, band.y + (band.height - 18) / 2, 1);
    EXPECT_NEAR(left.top - left.bottom, 13, 2);
}

TEST(CaptionDrawing, TruncatesLongLinesWithAnEllipsisInsideTheBand) {
    const std::string longText(200, 'H');
    const auto page = captioned(longText, SheetCaptionAlignment::left);
    const Ink ink = inkOf(page, wholeCanvas);
    ASSERT_TRUE(ink.any());
    EXPECT_GE(ink.left, band.x);
    EXPECT_LE(ink.right, band.x + band.width);
    EXPECT_GT(ink.right, band.x + band.width - 20);
    // The line ends in "…": its last columns hold only dots on the baseline, where a clipped
    // "H" would reach cap height.
    const Ink tail = inkOf(page, {ink.right - 3, band.y, 3, band.height});
    ASSERT_TRUE(tail.any());
    EXPECT_LE(tail.top - ink.bottom, 4);
}

TEST(CaptionDrawing, NeverInksOutsideItsBand) {
    // Big type with descenders in a short band, and a band narrower than the ellipsis.
    const struct {
        std::string text;
        double fontSize;
        SheetRect where;
    } cases[] = {
        {"Hgjpqy|ÅÉ " + std::string(60, 'W'), 40, band},
        {"Hello", 18, {200, 80, 4, 30}},
        {"\xFF\xFE not UTF-8 \xC3", 18, band},
    };
    for (const auto& c : cases) {
        for (auto alignment : allCases<SheetCaptionAlignment>()) {
            const auto page = captioned(c.text, alignment, c.fontSize, c.where);
            const Ink ink = inkOf(page, wholeCanvas);
            if (!ink.any()) continue;
            EXPECT_GE(ink.left, c.where.x) << c.text;
            EXPECT_LE(ink.right, c.where.x + c.where.width) << c.text;
            EXPECT_GE(ink.bottom, c.where.y) << c.text;
            EXPECT_LE(ink.top, c.where.y + c.where.height) << c.text;
        }
    }
}

TEST(CaptionDrawing, DrawsTheSameOnSeveralThreadsAtOnce) {
    const std::string text = "IMG_0042 · 4032 × 3024 · a caption long enough to be truncated";
    const auto alone = captioned(text, SheetCaptionAlignment::center);
    std::vector<detail::Bitmap> results(4);
    {
        std::vector<std::jthread> threads;
        for (auto& result : results)
            threads.emplace_back([&] {
                for (int i = 0; i < 5; ++i) result = captioned(text, SheetCaptionAlignment::center);
            });
    }
    for (const auto& result : results) EXPECT_TRUE(result.pixels == alone.pixels);
}

}  // namespace
}  // namespace tessel
