#include <gtest/gtest.h>
#include <unistd.h>

#include "tessel/TesselError.hpp"

#include "OutputFixtures.hpp"
#include "encode/Qpdf.hpp"
#include "output/Output.hpp"

namespace tessel {
namespace {

using testing::makeResult;
using testing::recipeWithOutput;
using testing::TemporaryFolder;

template <class Action>
std::optional<TesselError> errorOf(Action action) {
    try {
        action();
    } catch (const TesselError& error) {
        return error;
    }
    return std::nullopt;
}

std::vector<std::string> numbered(const std::string& name, int count,
                                  const std::string& extension) {
    std::vector<std::string> names;
    for (int i = 1; i <= count; ++i)
        names.push_back(name + "-" + std::to_string(i) + "." + extension);
    std::sort(names.begin(), names.end());
    return names;
}

struct NamingCase {
    std::string baseName;
    SheetOutputFormat output;
    int pages;
    std::vector<std::string> expected;  // in page order
};

TEST(Write, NamesFilesAndLeavesNothingElse) {
    const std::vector<NamingCase> cases{
        {"", SheetOutputFormat::pdf, 2, {"Contact Sheet.pdf"}},
        {"   ", SheetOutputFormat::png, 1, {"Contact Sheet.png"}},
        {" \t\n\u00A0\u3000", SheetOutputFormat::jpeg, 1, {"Contact Sheet.jpg"}},
        {" Trip ", SheetOutputFormat::pdf, 1, {" Trip .pdf"}},
        {"Trip", SheetOutputFormat::png, 1, {"Trip.png"}},
        {"Trip", SheetOutputFormat::png, 3, {"Trip-1.png", "Trip-2.png", "Trip-3.png"}},
        {"Trip", SheetOutputFormat::jpeg, 1, {"Trip.jpg"}},
        {"Trip-sheet", SheetOutputFormat::jpeg, 2, {"Trip-sheet-1.jpg", "Trip-sheet-2.jpg"}},
        {"Trip", SheetOutputFormat::png, 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("'" + c.baseName + "' " + std::string(rawValue(c.output)));
        TemporaryFolder folder;
        const auto written = TesselRenderer::write(makeResult(c.output, c.pages), folder.path(),
                                                   c.baseName, recipeWithOutput(c.output));
        std::vector<std::string> names;
        for (const auto& file : written) {
            EXPECT_EQ(file.parent_path(), folder.path());
            names.push_back(file.filename().string());
        }
        EXPECT_EQ(names, c.expected);
        auto sorted = c.expected;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(folder.names(), sorted);  // no temporary file is left
    }
}

TEST(Write, TwelvePagesAreNumberedWithoutLeadingZeros) {
    TemporaryFolder folder;
    const auto written =
        TesselRenderer::write(makeResult(SheetOutputFormat::png, 12), folder.path(), "Trip",
                              recipeWithOutput(SheetOutputFormat::png));
    ASSERT_EQ(written.size(), 12u);
    EXPECT_EQ(written[8].filename(), "Trip-9.png");
    EXPECT_EQ(written[11].filename(), "Trip-12.png");
    EXPECT_EQ(folder.names(), numbered("Trip", 12, "png"));
}

TEST(Write, PagesHoldTheResultBytesInOrder) {
    TemporaryFolder folder;
    const auto result = makeResult(SheetOutputFormat::jpeg, 3);
    const auto written = TesselRenderer::write(result, folder.path(), "Trip",
                                               recipeWithOutput(SheetOutputFormat::jpeg));
    ASSERT_EQ(written.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(testing::readBytes(written[i]), result.pages[i]);
}

TEST(Write, PdfOfFivePagesIsOneVerifiedFile) {
    TemporaryFolder folder;
    const auto result = makeResult(SheetOutputFormat::pdf, 5);
    const auto written = TesselRenderer::write(result, folder.path(), "Trip",
                                               recipeWithOutput(SheetOutputFormat::pdf));
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(testing::readBytes(written[0]), result.pdf);
    EXPECT_EQ(detail::readPDFSummary(written[0])->pageCount, 5);
}

TEST(Write, ExistingFileStopsTheExportAndKeepsEarlierPages) {
    TemporaryFolder folder;
    const std::vector<std::uint8_t> theirs{'m', 'i', 'n', 'e'};
    testing::writeBytes(folder.path() / "Trip-2.png", theirs);
    const auto error = errorOf([&] {
        TesselRenderer::write(makeResult(SheetOutputFormat::png, 3), folder.path(), "Trip",
                              recipeWithOutput(SheetOutputFormat::png));
    });
    EXPECT_EQ(error, TesselError::destinationExists());
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"Trip-1.png", "Trip-2.png"}));
    EXPECT_EQ(testing::readBytes(folder.path() / "Trip-2.png"), theirs);
    EXPECT_NO_THROW(detail::verify(folder.path() / "Trip-1.png", 1, {24, 32}));
}

TEST(Write, StaleTemporaryFileDoesNotBlock) {
    TemporaryFolder folder;
    const std::string stale = ".orvane-tessel-6F9619FF-8B86-D011-B42D-00C04FC964FF";
    testing::writeBytes(folder.path() / stale, {1, 2, 3});
    TesselRenderer::write(makeResult(SheetOutputFormat::pdf, 1), folder.path(), "Trip",
                          recipeWithOutput(SheetOutputFormat::pdf));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{stale, "Trip.pdf"}));
}

TEST(WriteAtomically, CreatesTheFileWithExactlyTheBytes) {
    TemporaryFolder folder;
    const std::vector<std::uint8_t> bytes{0, 1, 2, 255, 254};
    detail::writeAtomically(bytes, folder.path() / "out.bin");
    EXPECT_EQ(testing::readBytes(folder.path() / "out.bin"), bytes);
    detail::writeAtomically({}, folder.path() / "empty.bin");
    EXPECT_TRUE(testing::readBytes(folder.path() / "empty.bin").empty());
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"empty.bin", "out.bin"}));
}

TEST(WriteAtomically, FailuresLeaveNoTemporaryFile) {
    TemporaryFolder folder;
    const std::vector<std::uint8_t> bytes{1, 2, 3};

    // Nothing can be created in a folder that does not exist.
    EXPECT_EQ(errorOf([&] { detail::writeAtomically(bytes, folder.path() / "missing" / "a.png"); }),
              TesselError::cannotEncode());

    // The temporary file is written, then the link fails: the name is too long.
    EXPECT_EQ(errorOf([&] {
                  detail::writeAtomically(bytes, folder.path() / (std::string(300, 'x') + ".png"));
              }),
              TesselError::cannotEncode());

    // A dangling symbolic link passes the existence check but makes the link fail with
    // EEXIST, as a file created by another writer meanwhile would; it is not replaced.
    std::filesystem::create_symlink(folder.path() / "nowhere", folder.path() / "taken.png");
    EXPECT_EQ(errorOf([&] { detail::writeAtomically(bytes, folder.path() / "taken.png"); }),
              TesselError::destinationExists());
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / "taken.png"));

    EXPECT_EQ(folder.names(), (std::vector<std::string>{"taken.png"}));
}

TEST(WriteAtomically, ReadOnlyFolderFailsWithCannotEncode) {
    if (::geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
    TemporaryFolder folder;
    std::filesystem::permissions(
        folder.path(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(errorOf([&] { detail::writeAtomically({1}, folder.path() / "a.png"); }),
              TesselError::cannotEncode());
    EXPECT_TRUE(folder.names().empty());
}

TEST(OutputBaseName, OnlyBlankNamesAreReplaced) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "Contact Sheet"},
        {" \r\n\t", "Contact Sheet"},
        {"\u2003\u2028", "Contact Sheet"},
        {" Trip ", " Trip "},
        {"\u00A0x", "\u00A0x"},
        {"\xFF", "\xFF"},  // not UTF-8: kept as a visible name
    };
    for (const auto& [given, expected] : cases) EXPECT_EQ(detail::outputBaseName(given), expected);
}

}  // namespace
}  // namespace tessel
