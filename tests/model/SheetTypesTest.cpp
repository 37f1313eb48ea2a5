#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tessel/SheetTypes.hpp"

namespace tessel {
namespace {

// Raw values are the storage format of saved layouts: every table must round-trip, be unique,
// and parse only the exact raw value.
template <class E>
void expectTableIsConsistent() {
    std::set<std::string_view> raws;
    for (E value : allCases<E>()) {
        const auto raw = rawValue(value);
        EXPECT_FALSE(raw.empty());
        EXPECT_TRUE(raws.insert(raw).second) << "duplicate raw value " << raw;
        EXPECT_EQ(fromRawValue<E>(raw), value);
        EXPECT_FALSE(name(value).empty());
    }
}

TEST(SheetEnumerations, RawValuesRoundTripAndAreUnique) {
    expectTableIsConsistent<SheetPreset>();
    expectTableIsConsistent<SheetPaper>();
    expectTableIsConsistent<SheetOrientation>();
    expectTableIsConsistent<SheetFit>();
    expectTableIsConsistent<SheetCaption>();
    expectTableIsConsistent<SheetCaptionAlignment>();
    expectTableIsConsistent<SheetOutputFormat>();
}

TEST(SheetEnumerations, CasesAreInDeclarationOrder) {
    const auto papers = allCases<SheetPaper>();
    ASSERT_EQ(papers.size(), 5u);
    EXPECT_EQ(papers[0], SheetPaper::a4);
    EXPECT_EQ(papers[3], SheetPaper::hd);
    EXPECT_EQ(papers[4], SheetPaper::custom);

    const auto captions = allCases<SheetCaption>();
    ASSERT_EQ(captions.size(), 7u);
    EXPECT_EQ(captions.front(), SheetCaption::none);
    EXPECT_EQ(captions.back(), SheetCaption::details);
    EXPECT_EQ(allCases<SheetPreset>().back(), SheetPreset::square);
}

TEST(SheetEnumerations, ParsingIsExactAndCaseSensitive) {
    EXPECT_EQ(fromRawValue<SheetPaper>("a4"), SheetPaper::a4);
    EXPECT_EQ(fromRawValue<SheetPaper>("A4"), std::nullopt);  // the display name
    EXPECT_EQ(fromRawValue<SheetPaper>(" a4"), std::nullopt);
    EXPECT_EQ(fromRawValue<SheetPaper>(""), std::nullopt);
    EXPECT_EQ(fromRawValue<SheetCaption>("filenameanddate"), std::nullopt);
    EXPECT_EQ(fromRawValue<SheetCaption>("filenameAndDate"), SheetCaption::filenameAndDate);
    EXPECT_EQ(fromRawValue<SheetOutputFormat>("jpg"), std::nullopt);
}

TEST(SheetEnumerations, DisplayNamesThatDifferFromRawValues) {
    EXPECT_EQ(name(SheetCaption::details), "Filename + dimensions");
    EXPECT_EQ(rawValue(SheetCaption::details), "details");
    EXPECT_EQ(name(SheetPaper::hd), "16:9");
    EXPECT_EQ(name(SheetPaper::letter), "US Letter");
    EXPECT_EQ(name(SheetPreset::proof), "Proof grid");
    EXPECT_EQ(name(SheetCaptionAlignment::center), "Center");
    EXPECT_EQ(name(SheetOutputFormat::jpeg), "JPEG");
    EXPECT_EQ(fileExtension(SheetOutputFormat::jpeg), "jpg");
    EXPECT_EQ(fileExtension(SheetOutputFormat::pdf), "pdf");
    EXPECT_EQ(fileExtension(SheetOutputFormat::png), "png");
}

TEST(SheetColorTest, NamedColoursAndExactEquality) {
    EXPECT_EQ(SheetColor::white(), (SheetColor{1, 1, 1, 1}));
    EXPECT_EQ(SheetColor::black(), (SheetColor{0, 0, 0, 1}));
    EXPECT_NE(SheetColor::white(), (SheetColor{1, 1, 1, 0.999999}));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE((SheetColor{nan, 0, 0, 1}), (SheetColor{nan, 0, 0, 1}));
}

}  // namespace
}  // namespace tessel
