// Writing sheets without replacing anything, and reading them back to verify them.

#include <cerrno>
#include <regex>
#include <tuple>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Sheets.hpp"
#include "output/Output.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using enum SheetOutputFormat;
using testing::appearedDuring, testing::errorOf, testing::makeResult, testing::writeSheet;
using testing::pdfAsWritten, testing::readBytes, testing::TemporaryFolder, testing::writeBytes;

const std::regex hiddenName{R"(\.orvane-tessel-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12})"};

TEST(Write, NamesTheFilesOfEachFormatAndLeavesNothingElse) {
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
    for (const auto& [baseName, output, pages, expected] : cases) {
        SCOPED_TRACE("'" + baseName + "' " + std::string(rawValue(output)));
        TemporaryFolder folder;
        const SheetRenderResult result = makeResult(output, pages);
        std::vector<fs::path> written;
        const auto appeared = appearedDuring(
            folder.path(), [&] { written = writeSheet(result, output, folder.path(), baseName); });
        std::vector<std::string> names;
        for (std::size_t i = 0; i < written.size(); ++i) {
            names.push_back(written[i].filename().string());
            EXPECT_EQ(readBytes(written[i]),
                      output == pdf ? pdfAsWritten(result, "Contact Sheet") : result.pages[i]);
        }
        EXPECT_EQ(names, expected);
        // Anything else that appeared was a hidden file of the write, gone at the end.
        for (const std::string& name : appeared)
            EXPECT_TRUE(std::count(names.begin(), names.end(), name) == 1 ||
                        std::regex_match(name, hiddenName))
                << name;
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
    EXPECT_EQ(errorOf([&] { writeSheet(makeResult(png, 3), png, folder.path()); }),
              TesselError::destinationExists());
    EXPECT_EQ(folder.names(), (std::vector<std::string>{stale, "Trip-1.png", "Trip-2.png"}));
    EXPECT_EQ(readBytes(folder.path() / "Trip-2.png"), theirs);
    EXPECT_NO_THROW(detail::verify(folder.path() / "Trip-1.png", 1, {24, 32}));
}

// File systems that lack some of the calls a write names its file with, as they fail there.
int noUnnamedFiles(const char*, int, mode_t) {
    errno = EOPNOTSUPP;
    return -1;
}
int noUnnamedLinks(int, const char*) {
    errno = EPERM;
    return -1;
}
int noLinks(const char*, const char*) {
    errno = EPERM;
    return -1;
}
int noRenameFlags(const char*, const char*) {
    errno = EINVAL;
    return -1;
}

struct FileSystem {
    const char* name;
    detail::FileNamingCalls calls;
    /// What appears in the folder while a file is written: the hidden file, the destination.
    std::vector<std::string> appearing;
};

const detail::FileNamingCalls& systemCalls = detail::systemNamingCalls();
const FileSystem fileSystems[] = {
    {"ext4, tmpfs, xfs, btrfs", systemCalls, {"a.pdf"}},
    {"unnamed files without links",
     {systemCalls.openUnnamed, noUnnamedLinks, noLinks, systemCalls.renameNoReplace},
     {"hidden", "a.pdf"}},
    {"no unnamed files",
     {noUnnamedFiles, noUnnamedLinks, systemCalls.link, systemCalls.renameNoReplace},
     {"hidden", "a.pdf"}},
    {"exFAT and FAT in the kernel",
     {noUnnamedFiles, noUnnamedLinks, noLinks, systemCalls.renameNoReplace},
     {"hidden", "a.pdf"}},
    // The destination appears twice: claimed empty, then the finished file renamed onto it.
    {"exFAT through FUSE",
     {noUnnamedFiles, noUnnamedLinks, noLinks, noRenameFlags},
     {"hidden", "a.pdf", "a.pdf"}},
};

bool unnamedFilesWorkIn(const fs::path& folder) {
    const int file = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (file >= 0) ::close(file);
    return file >= 0;
}

std::vector<std::uint8_t> somePdf() { return makeResult(pdf, 3).pdf; }

TEST(WriteAtomically, EveryWayOfNamingShowsOnlyTheWholeFile) {
    const std::vector<std::uint8_t> bytes = somePdf();
    for (const FileSystem& fileSystem : fileSystems) {
        SCOPED_TRACE(fileSystem.name);
        TemporaryFolder folder;
        const auto appeared = appearedDuring(folder.path(), [&] {
            detail::writeAtomically(bytes, folder.path() / "a.pdf", fileSystem.calls);
        });
        EXPECT_EQ(readBytes(folder.path() / "a.pdf"), bytes);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"a.pdf"});
        std::vector<std::string> kinds;
        for (const std::string& name : appeared)
            kinds.push_back(std::regex_match(name, hiddenName) ? "hidden" : name);
        if (&fileSystem == &fileSystems[0] && !unnamedFilesWorkIn(folder.path())) continue;
        EXPECT_EQ(kinds, fileSystem.appearing);
    }
}

// A racing writer: it puts its own file at the destination just before this write names its
// file, whichever naming call that is, on the file system `racedOn`.
const detail::FileNamingCalls* racedOn = nullptr;
const std::vector<std::uint8_t> theirs{'t', 'h', 'e', 'i', 'r', 's'};

void plantTheirs(const char* to) {
    std::error_code absent;
    if (!fs::exists(fs::symlink_status(to, absent))) writeBytes(to, theirs);
}
int racingOpenUnnamed(const char* folder, int flags, mode_t mode) {
    return racedOn->openUnnamed(folder, flags, mode);
}
int racingLinkUnnamed(int file, const char* to) {
    plantTheirs(to);
    return racedOn->linkUnnamed(file, to);
}
int racingLink(const char* from, const char* to) {
    plantTheirs(to);
    return racedOn->link(from, to);
}
int racingRename(const char* from, const char* to) {
    plantTheirs(to);
    return racedOn->renameNoReplace(from, to);
}

TEST(WriteAtomically, NeverReplacesAFileThereBeforeOrMeanwhile) {
    const std::vector<std::uint8_t> bytes = somePdf();
    const detail::FileNamingCalls racing{racingOpenUnnamed, racingLinkUnnamed, racingLink,
                                         racingRename};
    for (const FileSystem& fileSystem : fileSystems) {
        SCOPED_TRACE(fileSystem.name);
        racedOn = &fileSystem.calls;
        TemporaryFolder folder;
        const fs::path to = folder.path() / "a.pdf";
        EXPECT_EQ(errorOf([&] { detail::writeAtomically(bytes, to, racing); }),
                  TesselError::destinationExists());
        EXPECT_EQ(readBytes(to), theirs);
        EXPECT_EQ(errorOf([&] { detail::writeAtomically(bytes, to, fileSystem.calls); }),
                  TesselError::destinationExists());
        EXPECT_EQ(readBytes(to), theirs);
        // A dangling link counts as something there, as it does for the link and rename calls.
        fs::create_symlink(folder.path() / "nowhere", folder.path() / "b.pdf");
        EXPECT_EQ(errorOf([&] { detail::writeAtomically(bytes, folder.path() / "b.pdf", racing); }),
                  TesselError::destinationExists());
        EXPECT_TRUE(fs::is_symlink(folder.path() / "b.pdf"));
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.pdf", "b.pdf"}));
    }
}

TEST(WriteAtomically, OtherFailuresCannotEncodeAndLeaveNothing) {
    for (const FileSystem& fileSystem : fileSystems) {
        SCOPED_TRACE(fileSystem.name);
        TemporaryFolder folder;
        for (const auto& [to, cause] :
             {std::pair(folder.path() / "missing" / "a.png", "There is no such file or folder."),
              std::pair(folder.path() / (std::string(300, 'x') + ".png"),
                        "The file name is too long.")}) {
            const std::optional<TesselError> error = errorOf([&] {
                detail::writeAtomically({1, 2, 3}, to, fileSystem.calls);
            });
            EXPECT_EQ(error, TesselError::cannotEncode()) << to;
            EXPECT_EQ(error ? error->cause() : "", cause) << to;
        }
        EXPECT_EQ(folder.names(), std::vector<std::string>{});
    }
}

// Names a second run takes: the first free name, judged over every page's file, and a name
// another writer claims after the check costs this run only its own files under that name.
TEST(WriteUnderFreeName, TakesTheNextNameWhoseEveryPageIsFree) {
    SheetRecipe recipe = tessel::recipe(SheetPreset::contact);
    const std::vector<
        std::tuple<SheetOutputFormat, int, std::vector<std::string>, std::vector<std::string>>>
        cases{{pdf, 2, {}, {"Trip.pdf"}},
              {pdf, 2, {"Trip.pdf", "Trip 2.pdf", "Trip 3.png"}, {"Trip 3.pdf"}},
              {png, 2, {"Trip-2.png", "Trip 2-1.png"}, {"Trip 3-1.png", "Trip 3-2.png"}},
              {jpeg, 1, {"Trip-1.jpg"}, {"Trip.jpg"}}};
    for (const auto& [output, pages, taken, expected] : cases) {
        SCOPED_TRACE(std::string(rawValue(output)) + " " + std::to_string(taken.size()));
        TemporaryFolder folder;
        for (const std::string& name : taken) writeBytes(folder.path() / name, theirs);
        recipe.output = output;
        const SheetRenderResult result = makeResult(output, pages);
        std::vector<std::string> names;
        for (const fs::path& file :
             detail::writeUnderFreeName(result, folder.path(), "Trip", recipe, systemCalls))
            names.push_back(file.filename().string());
        EXPECT_EQ(names, expected);
        std::vector<std::string> all = taken;
        all.insert(all.end(), expected.begin(), expected.end());
        std::sort(all.begin(), all.end());
        EXPECT_EQ(folder.names(), all);
        for (const std::string& name : taken) EXPECT_EQ(readBytes(folder.path() / name), theirs);
    }

    // The other writer claims "Trip-2.png" just as this one names it, after "Trip-1.png".
    for (const FileSystem& fileSystem : fileSystems) {
        SCOPED_TRACE(fileSystem.name);
        racedOn = &fileSystem.calls;
        const detail::FileNamingCalls racingSecondPage{
            racingOpenUnnamed,
            [](int file, const char* to) {
                if (fs::path(to).filename() == "Trip-2.png") plantTheirs(to);
                return racedOn->linkUnnamed(file, to);
            },
            [](const char* from, const char* to) {
                if (fs::path(to).filename() == "Trip-2.png") plantTheirs(to);
                return racedOn->link(from, to);
            },
            [](const char* from, const char* to) {
                if (fs::path(to).filename() == "Trip-2.png") plantTheirs(to);
                return racedOn->renameNoReplace(from, to);
            }};
        TemporaryFolder folder;
        recipe.output = png;
        const auto written = detail::writeUnderFreeName(makeResult(png, 2), folder.path(), "Trip",
                                                        recipe, racingSecondPage);
        EXPECT_EQ(written, (std::vector<fs::path>{folder.path() / "Trip 2-1.png",
                                                  folder.path() / "Trip 2-2.png"}));
        EXPECT_EQ(folder.names(),
                  (std::vector<std::string>{"Trip 2-1.png", "Trip 2-2.png", "Trip-2.png"}));
        EXPECT_EQ(readBytes(folder.path() / "Trip-2.png"), theirs);
    }
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
