#include <chrono>
#include <fstream>

#include <gtest/gtest.h>

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

TEST_F(ImageFiles, SymbolicLinksToFilesCountButFolderLinksAreNotFollowed) {
    fs::create_symlink(touch("real/a.png"), root_ / "link.png");
    fs::create_symlink(root_ / "nowhere.png", root_ / "dangling.png");
    fs::create_directory_symlink(root_, root_ / "loop");
    EXPECT_EQ(found({root_}), (Names{"link.png", "real/a.png"}));
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
