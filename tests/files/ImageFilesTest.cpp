#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tessel/ImageFiles.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;

class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = (fs::temp_directory_path() / "tessel-files-XXXXXX").string();
        root_ = mkdtemp(pattern.data());
    }
    ~ScratchFolder() {
        std::error_code ec;
        fs::permissions(root_, fs::perms::owner_all, fs::perm_options::add, ec);
        fs::remove_all(root_, ec);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const fs::path& root() const { return root_; }

    /// Creates an empty file (and its folders) at `relative`.
    fs::path touch(const std::string& relative) const {
        const fs::path path = root_ / relative;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "x";
        return path;
    }

private:
    fs::path root_;
};

std::vector<std::string> relativeTo(const fs::path& root, const std::vector<fs::path>& paths) {
    std::vector<std::string> names;
    for (const fs::path& p : paths) names.push_back(p.lexically_relative(root).string());
    return names;
}

TEST(NaturalLess, OrdersLikeAFileBrowser) {
    struct Case {
        const char* a;
        const char* b;
        bool less;
    };
    const Case cases[] = {
        {"img2.png", "img10.png", true},   {"img10.png", "img2.png", false},
        {"a.png", "B.png", true},          {"B.png", "a.png", false},
        {"Photo.jpg", "photo.jpg", false}, {"photo.jpg", "Photo.jpg", false},
        {"x/9/z", "x/10/a", true},         {"IMG_0009", "IMG_0010", true},
        {"same", "same", false},           {"", "a", true},
    };
    for (const Case& c : cases) EXPECT_EQ(naturalLess(c.a, c.b), c.less) << c.a << " < " << c.b;
}

TEST(ImageFiles, FolderScanSkipsHiddenPackagesAndOtherFiles) {
    ScratchFolder folder;
    for (const char* name :
         {"b.JPG", "a.png", ".hidden.png", "notes.txt", "Sub/c.tif", "X.bundle/d.png",
          "Y.APP/e.jpg", ".secret/f.png", "Sub/.g.webp", "h.jpeg.txt"})
        folder.touch(name);
    fs::create_directories(folder.root() / "img.png");  // a folder with an image's name

    EXPECT_EQ(relativeTo(folder.root(), imageFiles({folder.root()})),
              (std::vector<std::string>{"a.png", "b.JPG", "Sub/c.tif"}));
}

TEST(ImageFiles, SortsByNumericValueOfDigitRuns) {
    ScratchFolder folder;
    folder.touch("img10.png");
    folder.touch("img2.png");
    folder.touch("IMG1.heic");
    EXPECT_EQ(relativeTo(folder.root(), imageFiles({folder.root()})),
              (std::vector<std::string>{"IMG1.heic", "img2.png", "img10.png"}));
    // Given as files, they come out in the same order.
    EXPECT_EQ(relativeTo(folder.root(),
                         imageFiles({folder.root() / "img10.png", folder.root() / "img2.png"})),
              (std::vector<std::string>{"img2.png", "img10.png"}));
}

TEST(ImageFiles, GivenFilesAreJudgedByExtensionOnly) {
    ScratchFolder folder;
    const fs::path hidden = folder.touch(".hidden.PNG");
    const fs::path text = folder.touch("notes.txt");
    const fs::path missing = folder.root() / "missing.webp";
    EXPECT_EQ(imageFiles({text, missing, hidden}), (std::vector<fs::path>{hidden, missing}));
}

TEST(ImageFiles, AFolderAndAFileInsideItGiveThatFileTwice) {
    ScratchFolder folder;
    const fs::path a = folder.touch("a.png");
    EXPECT_EQ(imageFiles({folder.root(), a}), (std::vector<fs::path>{a, a}));
}

TEST(ImageFiles, SymbolicLinksToFilesCountButFolderLinksAreNotFollowed) {
    ScratchFolder folder;
    const fs::path real = folder.touch("real/a.png");
    fs::create_directories(folder.root() / "scan");
    fs::create_symlink(real, folder.root() / "scan/link.png");
    fs::create_symlink(folder.root() / "nowhere.png", folder.root() / "scan/dangling.png");
    fs::create_directory_symlink(folder.root() / "scan", folder.root() / "scan/loop");
    EXPECT_EQ(relativeTo(folder.root(), imageFiles({folder.root() / "scan"})),
              (std::vector<std::string>{"scan/link.png"}));
}

TEST(ImageFiles, AnUnreadableFolderContributesNothing) {
    ScratchFolder folder;
    const fs::path a = folder.touch("open/a.png");
    folder.touch("closed/b.png");
    fs::permissions(folder.root() / "closed", fs::perms::none);
    if (DIR* d = opendir((folder.root() / "closed").c_str())) {
        closedir(d);
        GTEST_SKIP() << "permissions do not restrict this user (root)";
    }
    EXPECT_EQ(imageFiles({folder.root() / "closed", folder.root() / "open"}),
              (std::vector<fs::path>{a}));
}

SheetInput input(const char* path, std::optional<int> day = std::nullopt) {
    SheetInput in{path, {}};
    if (day) in.info.dateTaken = std::chrono::system_clock::time_point(std::chrono::days(*day));
    return in;
}

std::vector<std::string> paths(const std::vector<SheetInput>& inputs) {
    std::vector<std::string> out;
    for (const SheetInput& in : inputs) out.push_back(in.url.string());
    return out;
}

TEST(SortInputs, ByFilenameComparesOnlyTheLastComponentAndKeepsTies) {
    std::vector<SheetInput> inputs{input("/z/img10.png"), input("/a/IMG2.png"),
                                   input("/b/img2.png"), input("/c/b.png")};
    sortByFilename(inputs);
    EXPECT_EQ(paths(inputs),
              (std::vector<std::string>{"/c/b.png", "/a/IMG2.png", "/b/img2.png", "/z/img10.png"}));
}

TEST(SortInputs, ByDatePutsUndatedFirstAndKeepsTies) {
    std::vector<SheetInput> inputs{input("late", 20), input("undated1"), input("early", 10),
                                   input("same-late", 20), input("undated2")};
    sortByDate(inputs);
    EXPECT_EQ(paths(inputs),
              (std::vector<std::string>{"undated1", "undated2", "early", "late", "same-late"}));
    sortByDate(inputs);  // re-applying never shuffles ties
    EXPECT_EQ(paths(inputs),
              (std::vector<std::string>{"undated1", "undated2", "early", "late", "same-late"}));
}

}  // namespace
}  // namespace tessel
