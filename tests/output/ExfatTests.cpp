// Exports onto a real exFAT file system, the kind on the memory cards and sticks a
// photographer hands to a print shop: it makes no hard links and no unnamed files. A disk
// image made with mkfs.exfat is attached to a loop device and mounted, through the exFAT FUSE
// driver or the kernel's. Skipped, saying why, where the machine cannot do that.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tessel/Files.hpp"

#include "Sheets.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using enum SheetOutputFormat;
using testing::errorOf, testing::makeResult, testing::pdfAsWritten, testing::readBytes,
    testing::writeSheet;
using Names = std::vector<std::string>;

/// Runs a shell command; its standard output, or nothing when it fails.
std::optional<std::string> shell(const std::string& command) {
    std::FILE* pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
    if (!pipe) return std::nullopt;
    std::string out;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
    if (::pclose(pipe) != 0) return std::nullopt;
    while (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
}

/// The file system type /proc/mounts gives for `folder`, or nothing.
std::optional<std::string> mountedType(const fs::path& folder) {
    std::ifstream mounts("/proc/mounts");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string device, point, type;
        fields >> device >> point >> type;
        if (point == folder.string()) return type;
    }
    return std::nullopt;
}

class Exfat : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (::geteuid() != 0) return skip("attaching a loop device takes root");
        if (!shell("command -v mkfs.exfat && command -v losetup"))
            return skip("mkfs.exfat or losetup is missing (scripts/install-deps.sh)");
        std::string pattern = (fs::temp_directory_path() / "tessel-exfat-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) return skip("no temporary folder");
        root = pattern;
        const fs::path image = root / "card.img";
        fs::create_directory(root / "card");
        std::ofstream(image).close();
        fs::resize_file(image, 32 << 20);
        if (!shell("mkfs.exfat '" + image.string() + "'")) return skip("mkfs.exfat failed");
        device = shell("losetup --find --show '" + image.string() + "'").value_or("");
        if (device.empty()) return skip("no loop device could be attached");
        const std::string point = "'" + (root / "card").string() + "'";
        if (!shell("mount.exfat-fuse " + device + " " + point) &&
            !shell("mount -t exfat " + device + " " + point))
            return skip("neither the exFAT FUSE driver nor the kernel's could mount " + device);
        const auto type = mountedType(root / "card");
        if (!type || (*type != "fuseblk" && *type != "exfat"))
            return skip("the card is mounted as " + type.value_or("nothing"));
        card = root / "card";
    }

    static void TearDownTestSuite() {
        if (!card.empty()) shell("umount '" + card.string() + "'");
        if (!device.empty()) shell("losetup --detach " + device);
        std::error_code ignored;
        if (!root.empty()) fs::remove_all(root, ignored);
    }

    void SetUp() override {
        if (card.empty()) GTEST_SKIP() << "no exFAT file system here: " << whyNot;
    }

    static void skip(const std::string& reason) { whyNot = reason; }

    static inline fs::path root, card;
    static inline std::string device, whyNot;
};

TEST_F(Exfat, ExportsEveryFormatWholeAndNeverReplaces) {
    // The reason for the other ways of naming a file: links are refused here.
    std::ofstream(card / "probe").close();
    EXPECT_NE(::link((card / "probe").c_str(), (card / "probe-link").c_str()), 0);
    fs::remove(card / "probe");

    const SheetRenderResult three = makeResult(png, 3), one = makeResult(jpeg, 1);
    const Names written{"Trip.pdf", "Trip-1.png", "Trip-2.png", "Trip-3.png", "Trip.jpg"};
    EXPECT_EQ(writeSheet(three, pdf, card).at(0), card / "Trip.pdf");
    EXPECT_EQ(writeSheet(three, png, card).size(), 3u);
    EXPECT_EQ(writeSheet(one, jpeg, card).at(0), card / "Trip.jpg");
    EXPECT_EQ(readBytes(card / "Trip.pdf"), pdfAsWritten(three, "Trip"));
    EXPECT_EQ(readBytes(card / "Trip-2.png"), three.pages[1]);
    EXPECT_EQ(readBytes(card / "Trip.jpg"), one.pages[0]);

    // The same export again stops at the first file and changes nothing.
    EXPECT_EQ(errorOf([&] { writeSheet(makeResult(pdf, 2), pdf, card); }),
              TesselError::destinationExists());
    EXPECT_EQ(readBytes(card / "Trip.pdf"), pdfAsWritten(three, "Trip"));

    // Standard input's image goes through the same writer.
    NewFile upload(card / "upload.jpg");
    upload.write(one.pages[0]);
    upload.publish();
    EXPECT_EQ(readBytes(card / "upload.jpg"), one.pages[0]);
    {
        NewFile again(card / "upload.jpg");
        again.write(three.pages[0]);
        EXPECT_THROW(again.publish(), std::system_error);
    }
    EXPECT_EQ(readBytes(card / "upload.jpg"), one.pages[0]);

    Names names;
    for (const auto& entry : fs::directory_iterator(card))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    Names expected = written;
    expected.push_back("upload.jpg");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names, expected);  // no hidden file left behind
}

}  // namespace
}  // namespace tessel
