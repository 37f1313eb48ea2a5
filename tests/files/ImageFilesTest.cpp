#include <algorithm>
#include <chrono>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tessel/ImageFiles.hpp"

#include "TemporaryFolder.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

TEST(NaturalLess, IgnoresCaseAndComparesRunsOfDigitsByValue) {
    const char* sorted[] = {"",           "a.png",      "B.png", "img2.png", "img10.png",
                            "photo_0009", "photo_0010", "x/9/z", "x/10/a"};
    for (std::size_t i = 0; i < std::size(sorted); ++i)
        for (std::size_t j = 0; j < std::size(sorted); ++j)
            EXPECT_EQ(naturalLess(sorted[i], sorted[j]), i < j) << sorted[i] << " < " << sorted[j];
    EXPECT_FALSE(naturalLess("Photo.jpg", "photo.jpg") || naturalLess("photo.jpg", "Photo.jpg"));
}

class ImageFiles : public ::testing::Test {
protected:
    fs::path touch(const std::string& relative) {
        fs::create_directories((root_ / relative).parent_path());
        std::ofstream(root_ / relative) << "x";
        return root_ / relative;
    }
    Names found(const std::vector<fs::path>& locations) {
        Names names;
        for (const fs::path& p : imageFiles(locations))
            names.push_back(p.lexically_relative(root_).string());
        return names;
    }

    const testing::TemporaryFolder folder_;
    const fs::path root_ = folder_.path();
};

TEST_F(ImageFiles, FoldersYieldVisibleImagesOutsidePackagesAndGivenFilesGoByExtension) {
    for (const char* name :
         {"img10.png", "img2.png", "IMG1.heic", "b.JPG", ".hidden.png", "notes.txt", "Sub/c.tif",
          "X.bundle/d.png", "Y.APP/e.jpg", ".secret/f.png", "Sub/.g.webp", "h.jpeg.txt"})
        touch(name);
    fs::create_directories(root_ / "img.png");  // a folder with an image's name
    EXPECT_EQ(found({root_}), (Names{"b.JPG", "IMG1.heic", "img2.png", "img10.png", "Sub/c.tif"}));
    // Given files need only an image extension; a file in a given folder comes twice.
    EXPECT_EQ(found({root_ / "m10.webp", root_ / "notes.txt", root_ / ".hidden.png", root_ / "Sub",
                     root_ / "m2.webp", root_ / "Sub/c.tif"}),
              (Names{".hidden.png", "m2.webp", "m10.webp", "Sub/c.tif", "Sub/c.tif"}));
}

TEST_F(ImageFiles, ARawFileBesideItsJpegOrHeicIsListedOnceAsThatPictureUnlessNamedItself) {
    for (const char* name : {"IMG_1.CR2", "IMG_1.JPG", "IMG_2.nef", "img_2.HEIC", "IMG_3.DNG",
                             "IMG_4.ARW", "Day 2/IMG_4.jpg", "IMG_5.png", "IMG_5.RAF"})
        touch(name);
    const ImageFileScan scan = scanImageFiles({root_});
    Names files;
    for (const fs::path& p : scan.files) files.push_back(p.lexically_relative(root_).string());
    // Only a JPEG or HEIC in the same folder stands for a RAW file.
    EXPECT_EQ(files, (Names{"Day 2/IMG_4.jpg", "IMG_1.JPG", "img_2.HEIC", "IMG_3.DNG", "IMG_4.ARW",
                            "IMG_5.png", "IMG_5.RAF"}));
    ASSERT_EQ(scan.pairedRaws.size(), 2u);
    EXPECT_EQ(scan.pairedRaws[0], (PairedRawFile{root_ / "IMG_1.CR2", root_ / "IMG_1.JPG"}));
    EXPECT_EQ(scan.pairedRaws[1], (PairedRawFile{root_ / "IMG_2.nef", root_ / "img_2.HEIC"}));
    EXPECT_EQ(pairedRawSummary(scan.pairedRaws), "2 RAW files shown by their JPEG or HEIC");
    EXPECT_EQ(pairedRawSummary({scan.pairedRaws[0]}), "1 RAW file shown by its JPEG");
    // Files named one by one are all used.
    EXPECT_EQ(found({root_ / "IMG_1.CR2", root_ / "IMG_1.JPG"}), (Names{"IMG_1.CR2", "IMG_1.JPG"}));
}

TEST_F(ImageFiles, SymbolicLinksToFilesCountButFolderLinksAreNotFollowed) {
    fs::create_symlink(touch("real/a.png"), root_ / "link.png");
    fs::create_symlink(root_ / "nowhere.png", root_ / "dangling.png");
    fs::create_directory_symlink(root_, root_ / "loop");
    EXPECT_EQ(found({root_}), (Names{"link.png", "real/a.png"}));
}

// Whatever cannot be read is left out and the rest of the folder still counts, whatever order
// the file system lists the entries in: broken links and unreadable folders among images.
TEST_F(ImageFiles, WhatCannotBeReadIsLeftOutAndTheScanGoesOn) {
    Names expected;
    for (int i = 0; i < 8; ++i) {
        fs::create_symlink(root_ / "gone.png", root_ / ("broken" + std::to_string(i) + ".png"));
        expected.push_back(touch("shot" + std::to_string(i) + ".png").filename().string());
        fs::create_directories(root_ / ("locked" + std::to_string(i)));
        touch("locked" + std::to_string(i) + "/inside.png");
        fs::permissions(root_ / ("locked" + std::to_string(i)), fs::perms::none);
    }
    touch("open/later.png");
    expected.push_back("open/later.png");
    fs::permissions(root_, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec |
                               fs::perms::group_read | fs::perms::others_read);
    fs::permissions(root_ / "open",
                    fs::perms::owner_all | fs::perms::others_exec | fs::perms::others_read);

    // As a user without permission (root reads every folder), in a child process whose names
    // come back through a pipe.
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (getuid() == 0 &&
            (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0))
            _exit(2);
        std::string names;
        for (const std::string& name : found({root_})) names += name + "\n";
        const bool sent =
            write(pipeEnds[1], names.data(), names.size()) == static_cast<ssize_t>(names.size());
        _exit(sent ? 0 : 3);
    }
    close(pipeEnds[1]);
    std::string names;
    char buffer[4096];
    for (ssize_t got; (got = read(pipeEnds[0], buffer, sizeof buffer)) > 0;)
        names.append(buffer, static_cast<std::size_t>(got));
    close(pipeEnds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    Names listed;
    for (std::size_t start = 0, end; (end = names.find('\n', start)) != std::string::npos;
         start = end + 1)
        listed.push_back(names.substr(start, end - start));
    std::ranges::sort(expected,
                      [](const std::string& a, const std::string& b) { return naturalLess(a, b); });
    EXPECT_EQ(listed, expected);
    for (int i = 0; i < 8; ++i)
        fs::permissions(root_ / ("locked" + std::to_string(i)), fs::perms::owner_all);
}

SheetInput input(const char* path, std::optional<int> day = std::nullopt) {
    SheetInput in{path, {}};
    if (day) in.info.dateTaken = std::chrono::system_clock::time_point(std::chrono::days(*day));
    return in;
}

Names paths(const std::vector<SheetInput>& inputs) {
    Names out;
    for (const SheetInput& in : inputs) out.push_back(in.url.string());
    return out;
}

TEST(SortInputs, ByFilenameOrByDateStablyWithUndatedFirst) {
    std::vector<SheetInput> inputs{input("/z/img10.png"), input("/a/IMG2.png"),
                                   input("/b/img2.png"), input("/c/b.png")};
    sortByFilename(inputs);  // only the last component counts
    EXPECT_EQ(paths(inputs), (Names{"/c/b.png", "/a/IMG2.png", "/b/img2.png", "/z/img10.png"}));
    inputs = {input("late", 20), input("undated1"), input("early", 10), input("same-late", 20),
              input("undated2")};
    const Names byDate{"undated1", "undated2", "early", "late", "same-late"};
    sortByDate(inputs);
    EXPECT_EQ(paths(inputs), byDate);
    sortByDate(inputs);  // re-applying never shuffles ties
    EXPECT_EQ(paths(inputs), byDate);
}

}  // namespace
}  // namespace tessel
