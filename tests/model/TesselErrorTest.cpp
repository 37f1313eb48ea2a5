#include <gtest/gtest.h>

#include "tessel/TesselError.hpp"

namespace tessel {
namespace {

TEST(TesselErrorTest, DescriptionsAreTheExactUserFacingTexts) {
    const struct {
        TesselError error;
        const char* text;
    } cases[] = {
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
    for (const auto& c : cases) {
        EXPECT_EQ(c.error.errorDescription(), c.text);
        EXPECT_STREQ(c.error.what(), c.text);
    }
}

TEST(TesselErrorTest, EqualityComparesCaseAndPayload) {
    EXPECT_EQ(TesselError::cannotRead("a.jpg"), TesselError::cannotRead("a.jpg"));
    EXPECT_NE(TesselError::cannotRead("a.jpg"), TesselError::cannotRead("b.jpg"));
    EXPECT_NE(TesselError::multiFrame("a.gif", 2), TesselError::multiFrame("a.gif", 3));
    EXPECT_NE(TesselError::noImages(), TesselError::invalidLayout());
    EXPECT_NE(TesselError::cannotRead("x"), TesselError::verificationFailed("x"));
}

}  // namespace
}  // namespace tessel
