// Every failure of tessel-sheet names its cause on the line after its headline, the
// headline unchanged, so that a script matching the first line keeps working. Each cause is
// made for real: permissions as a user they hold for, a file system that is full, a name the
// file system refuses, files that are cut off, not images, or larger than decoding allows.

#include <cstdint>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>
#include <vips/vips.h>

#include "Tool.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

Strings concat(Strings a, const Strings& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

ToolResult failure(const std::string& headline, const std::string& cause) {
    return {1, "", headline + "\n" + cause + "\n"};
}

// Root reads and writes anywhere; without the capabilities that let it, it keeps to the
// permission bits like anyone else.
Strings withoutPrivileges() {
    if (::geteuid() != 0) return {};
    return {"setpriv", "--bounding-set=-dac_override,-dac_read_search,-fowner", "--"};
}

// A progressive JPEG whose frame header claims 65 500 × 65 500 pixels around the scans of a
// 32 × 32 picture: its coefficients alone would take 26 GB.
void writeClaimingJpeg(const fs::path& file) {
    writeImage(file, 32, 32, {90, 120, 150});
    VipsImage* image = vips_image_new_from_file(file.c_str(), nullptr);
    ASSERT_NE(image, nullptr);
    void* data = nullptr;
    std::size_t size = 0;
    ASSERT_EQ(vips_image_write_to_buffer(image, ".jpg[interlace]", &data, &size, nullptr), 0);
    g_object_unref(image);
    std::string bytes(static_cast<const char*>(data), size);
    g_free(data);
    const std::size_t frame = bytes.find("\xFF\xC2");
    ASSERT_NE(frame, std::string::npos);
    bytes.replace(frame + 5, 4, "\xFF\xDC\xFF\xDC");  // height, then width: 65 500 each
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

// Noise, which no encoder can make small: a page showing it is hundreds of kilobytes.
void writeNoise(const fs::path& file, int side) {
    VipsImage* noise = nullptr;
    VipsImage* bytes = nullptr;
    ASSERT_EQ(vips_gaussnoise(&noise, side, side, "sigma", 80.0, nullptr), 0);
    ASSERT_EQ(vips_cast_uchar(noise, &bytes, nullptr), 0);
    EXPECT_EQ(vips_image_write_to_file(bytes, file.c_str(), nullptr), 0);
    g_object_unref(bytes);
    g_object_unref(noise);
}

TEST(FailureCauses, AnImagesCauseIsWhatTheDecoderFound) {
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "good.jpg", 60, 40, {10, 20, 30});
    writeImage(sandbox.root() / "cut.jpg", 600, 400, {200, 100, 50});
    fs::resize_file(sandbox.root() / "cut.jpg", fs::file_size(sandbox.root() / "cut.jpg") / 2);
    std::ofstream(sandbox.root() / "notes.jpg") << "Buy film. Pick up prints on Friday.\n";
    writeClaimingJpeg(sandbox.root() / "huge.jpg");
    const std::pair<std::string, std::string> cases[] = {
        {"cut.jpg", "The file is cut off before the end of the image."},
        {"notes.jpg", "The file is not an image."},
        {"huge.jpg",
         "The image is too large to decode within the memory budget (4,290 megapixels)."},
        {"missing.jpg", "There is no such file or folder."}};
    for (const auto& [name, cause] : cases)
        EXPECT_EQ(sandbox.run({"good.jpg", name}), failure(name + " could not be read.", cause));
}

ToolResult runAs(const Strings& before, const ToolSandbox& sandbox, const Strings& arguments) {
    return runProgram(sandbox.root(), concat(before, concat({TESSEL_SHEET}, arguments)),
                      sandbox.environment());
}

const std::string kNotEncoded = "The contact sheet could not be encoded.";

TEST(FailureCauses, AFilesCauseIsWhatTheSystemSaid) {
    ToolSandbox sandbox;
    writeImage(sandbox.root() / "good.jpg", 60, 40, {10, 20, 30});
    writeImage(sandbox.root() / "locked.jpg", 60, 40, {10, 20, 30});
    fs::permissions(sandbox.root() / "locked.jpg", fs::perms::none);
    fs::create_directory(sandbox.root() / "shut");
    fs::permissions(sandbox.root() / "shut", fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(sandbox.run({"--output-dir", "out", "--name", std::string(300, 'n'), "good.jpg"}),
              failure(kNotEncoded, "The file name is too long."));

    const Strings asUser = withoutPrivileges();
    if (runProgram(sandbox.root(), concat(asUser, {"test", "-r", "locked.jpg"})).exitStatus != 1)
        GTEST_SKIP() << "no way to take permissions away here (setpriv missing or refused)";
    EXPECT_EQ(runAs(asUser, sandbox, {"good.jpg", "locked.jpg"}),
              failure("locked.jpg could not be read.", "Permission denied."));
    EXPECT_EQ(runAs(asUser, sandbox, {"--output-dir", "shut", "good.jpg"}),
              failure(kNotEncoded, "Permission denied."));
}

TEST(FailureCauses, AFullFileSystemSaysSo) {
    ToolSandbox sandbox;
    writeNoise(sandbox.root() / "noise.png", 600);
    fs::create_directory(sandbox.root() / "full");
    // A file system of 16 KB, mounted in a mount namespace of the run's own.
    const Strings inSmallFileSystem = {
        "unshare", "--map-root-user",
        "--mount", "sh",
        "-c",      "mount -t tmpfs -o size=16k tessel-full full && exec \"$@\"",
        "sh"};
    if (runProgram(sandbox.root(), concat(inSmallFileSystem, {"true"})).exitStatus != 0)
        GTEST_SKIP() << "no way to mount a small file system here (user namespaces refused)";
    EXPECT_EQ(runAs(inSmallFileSystem, sandbox, {"--output-dir", "full", "noise.png"}),
              failure(kNotEncoded, "No space left on the device."));
}

}  // namespace
}  // namespace tessel::test
