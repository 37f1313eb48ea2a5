#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tessel/SheetTypes.hpp"
#include "tessel/TesselError.hpp"

namespace tessel {
namespace {

// Raw values (the saved-layout format) in case order; parsing is exact and case-sensitive.
template <class E>
void expectRawValues(const std::vector<std::string>& raws) {
    ASSERT_EQ(raws.size(), allCases<E>().size()) << "every case listed";
    for (std::size_t i = 0; i < raws.size(); ++i) {
        const auto value = static_cast<E>(i);
        EXPECT_EQ(rawValue(value), raws[i]);
        EXPECT_EQ(fromRawValue<E>(raws[i]), value) << raws[i];
        std::string capitalised = raws[i];
        capitalised[0] = static_cast<char>(capitalised[0] - 'a' + 'A');
        EXPECT_EQ(fromRawValue<E>(capitalised), std::nullopt) << capitalised;
        EXPECT_EQ(fromRawValue<E>(" " + raws[i]), std::nullopt) << raws[i];
    }
    EXPECT_EQ(fromRawValue<E>(""), std::nullopt);
}

TEST(SheetEnumerations, RawValuesParseExactlyAndFileExtensions) {
    expectRawValues<SheetPreset>({"contact", "portfolio", "proof", "square"});
    expectRawValues<SheetPaper>({"a4", "letter", "square", "hd", "custom"});
    expectRawValues<SheetOrientation>({"portrait", "landscape"});
    expectRawValues<SheetFit>({"fit", "fill"});
    expectRawValues<SheetCaption>(
        {"none", "filename", "date", "dimensions", "camera", "filenameAndDate", "details"});
    expectRawValues<SheetCaptionAlignment>({"left", "center", "right"});
    expectRawValues<SheetOutputFormat>({"pdf", "png", "jpeg"});
    EXPECT_EQ(fromRawValue<SheetCaption>("filenameanddate"), std::nullopt);
    EXPECT_EQ(fromRawValue<SheetOutputFormat>("jpg"), std::nullopt);
    EXPECT_EQ(name(SheetCaption::details), "Filename + dimensions");
    EXPECT_EQ(fileExtension(SheetOutputFormat::pdf), "pdf");
    EXPECT_EQ(fileExtension(SheetOutputFormat::png), "png");
    EXPECT_EQ(fileExtension(SheetOutputFormat::jpeg), "jpg");
}

TEST(SheetColorTest, NamedColoursAndExactEquality) {
    EXPECT_EQ(SheetColor::white(), (SheetColor{1, 1, 1, 1}));
    EXPECT_EQ(SheetColor::black(), (SheetColor{0, 0, 0, 1}));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE((SheetColor{nan, 0, 0, 1}), (SheetColor{nan, 0, 0, 1}));
}

TEST(TesselErrorTest, DescriptionsAreTheExactUserFacingTexts) {
    const std::pair<TesselError, const char*> cases[] = {
        {TesselError::cannotRead("IMG_1.HEIC"), "IMG_1.HEIC could not be read."},
        {TesselError::multiFrame("clip.gif", 12),
         "clip.gif contains 12 frames. Tessel never discards frames silently."},
        {TesselError::multiFrame("many.tif", 1234567),
         "many.tif contains 1234567 frames. Tessel never discards frames silently."},
        {TesselError::verificationFailed("PDF page count does not match"),
         "The exported sheet failed verification: PDF page count does not match."},
        {TesselError::noImages(), "Add at least one image."},
        {TesselError::invalidLayout(),
         "The page, grid, margins, or spacing leave no room for images."},
        {TesselError::cannotCreateContext(), "The contact sheet could not be drawn."},
        {TesselError::cannotEncode(), "The contact sheet could not be encoded."},
        {TesselError::destinationExists(), "A file already exists at the destination."},
    };
    for (const auto& [error, text] : cases) {
        EXPECT_EQ(error.errorDescription(), text);
        EXPECT_STREQ(error.what(), text);
    }
    // A cause explains an error; the text and the error stay what they are.
    const TesselError caused = TesselError::cannotRead("a.jpg").withCause("Permission denied.");
    EXPECT_STREQ(caused.what(), "a.jpg could not be read.");
    EXPECT_EQ(caused, TesselError::cannotRead("a.jpg"));
}

}  // namespace
}  // namespace tessel
