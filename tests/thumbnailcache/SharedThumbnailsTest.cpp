// The shared thumbnail cache: which entries are taken, and the entries Tessel writes as the
// desktop (GLib) reads them.

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include "tessel/Inspection.hpp"
#include "tessel/SharedThumbnails.hpp"
#include "tessel/Updater.hpp"

#include "GeneratedImages.hpp"
#include "TemporaryFolder.hpp"
#include "base/Bitmap.hpp"
#include "decode/DecodeBytes.hpp"
#include "formats/png/Png.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using detail::PngText;
using testing::Rgba;

std::string glibString(gchar* text) {
    std::string result = text != nullptr ? text : "";
    g_free(text);
    return result;
}

class SharedThumbnailsTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(photo.parent_path());
        testing::save(testing::solidImage(600, 400, {200, 30, 30}), photo);
    }

    // The keys GLib expects of an entry for `file`.
    static std::vector<PngText> keysOf(const fs::path& file) {
        struct stat status {};
        ::stat(file.c_str(), &status);
        return {{"Thumb::URI", uriOf(file)},
                {"Thumb::MTime", std::to_string(status.st_mtime)},
                {"Thumb::Size", std::to_string(status.st_size)}};
    }
    static std::string uriOf(const fs::path& file) {
        return glibString(g_filename_to_uri(file.c_str(), nullptr, nullptr));
    }
    fs::path entryOf(const fs::path& file, const std::string& size) const {
        const std::string uri = uriOf(file);
        return cache / size /
               (glibString(g_compute_checksum_for_string(G_CHECKSUM_MD5, uri.c_str(), -1)) +
                ".png");
    }

    // Puts an entry of one colour for the photo into the folder of `size`, as another
    // program would, with `keys`.
    void writeEntry(const std::string& size, const std::vector<PngText>& keys,
                    std::array<std::uint8_t, 3> colour, std::int64_t width) const {
        fs::create_directories(cache / size);
        const auto png = detail::encodePNG(width, width * 2 / 3, detail::PngColor::rgb,
                                           [&](std::int64_t, std::uint8_t* row) {
                                               for (std::int64_t x = 0; x < width; ++x, row += 3)
                                                   std::copy(colour.begin(), colour.end(), row);
                                           },
                                           true, {0, false, keys});
        ASSERT_TRUE(png);
        testing::writeBytes(entryOf(photo, size), *png);
    }

    // The middle pixel of a list thumbnail, and its size.
    static std::pair<Rgba, std::array<std::int64_t, 2>> look(
        const std::optional<std::vector<std::uint8_t>>& thumbnail) {
        if (!thumbnail) return {{}, {0, 0}};
        const auto picture = detail::decodeImageBytes(*thumbnail, 10'000);
        if (!picture) return {{}, {0, 0}};
        return {testing::pixelAt(*picture, static_cast<double>(picture->width / 2),
                                 static_cast<double>(picture->height / 2)),
                {picture->width, picture->height}};
    }

    // Sets the photo's modification time `seconds` later than it is.
    void touchPhoto(int seconds) const {
        struct stat status {};
        ::stat(photo.c_str(), &status);
        const utimbuf times{status.st_atime, status.st_mtime + seconds};
        ::utime(photo.c_str(), &times);
    }

    // What GLib says of the photo's thumbnail: `gio info` with the cache of this test.
    std::string gioThumbnailInfo() const {
        const std::string cacheHome = "XDG_CACHE_HOME=" + cache.parent_path().string();
        const std::string home = "HOME=" + scratch.path().string();
        const char* argv[] = {"gio",         "info", "-a", "thumbnail::path,thumbnail::is-valid",
                              photo.c_str(), nullptr};
        const char* envp[] = {cacheHome.c_str(), home.c_str(), "GIO_USE_VFS=local", nullptr};
        gchar* out = nullptr;
        gint status = 0;
        if (!g_spawn_sync(nullptr, const_cast<gchar**>(argv), const_cast<gchar**>(envp),
                          G_SPAWN_SEARCH_PATH_FROM_ENVP, nullptr, nullptr, &out, nullptr, &status,
                          nullptr))
            return "gio could not be started";
        const std::string info = glibString(out);
        return info.substr(std::min(info.find("attributes:"), info.size()));
    }

    testing::TemporaryFolder scratch;
    fs::path cache = scratch / "cache/thumbnails";
    fs::path photo = scratch / "Trip Été/Strand #1 100%.jpg";
    SharedThumbnails shared{cache};
};

TEST_F(SharedThumbnailsTest, TakesOnlyAnEntryWhoseURIMTimeAndSizeMatchThePhoto) {
    const SharedThumbnail none = shared.find(photo, 320);
    EXPECT_EQ(none.uri, uriOf(photo));
    EXPECT_FALSE(none.thumbnail);
    EXPECT_FALSE(none.failedBefore);

    const Rgba blue{20, 40, 220, 255};
    std::vector<PngText> stale = keysOf(photo);
    stale[1].text = std::to_string(std::stoll(stale[1].text) - 1);
    writeEntry("large", stale, {20, 40, 220}, 256);
    EXPECT_FALSE(shared.find(photo, 320).thumbnail) << "a modification time that is not the file's";

    std::vector<PngText> foreign = keysOf(photo);
    foreign[0].text = uriOf(scratch / "Trip Été/Strand #2.jpg");
    writeEntry("large", foreign, {20, 40, 220}, 256);
    EXPECT_FALSE(shared.find(photo, 320).thumbnail) << "another file's URI";

    std::vector<PngText> resized = keysOf(photo);
    resized[2].text = "12";
    writeEntry("large", resized, {20, 40, 220}, 256);
    EXPECT_FALSE(shared.find(photo, 320).thumbnail) << "another size";

    std::vector<PngText> noModified = keysOf(photo);
    noModified.erase(noModified.begin() + 1);
    writeEntry("large", noModified, {20, 40, 220}, 256);
    EXPECT_FALSE(shared.find(photo, 320).thumbnail) << "no modification time";

    // An x-large entry alone is taken, reduced to the list's size.
    fs::remove(entryOf(photo, "large"));
    writeEntry("x-large", keysOf(photo), {20, 40, 220}, 512);
    const auto [colour, size] = look(shared.find(photo, 320).thumbnail);
    EXPECT_TRUE(testing::near(colour, blue, 4)) << colour;
    EXPECT_EQ(size, (std::array<std::int64_t, 2>{320, 213}));

    // A large entry comes first.
    writeEntry("large", keysOf(photo), {30, 180, 60}, 256);
    const auto [green, largeSize] = look(shared.find(photo, 320).thumbnail);
    EXPECT_TRUE(testing::near(green, {30, 180, 60, 255}, 4)) << green;
    EXPECT_EQ(largeSize, (std::array<std::int64_t, 2>{256, 170}));

    // The cache's own files are never looked up, nor stored.
    const SharedThumbnail inside = shared.find(entryOf(photo, "large"), 320);
    EXPECT_EQ(inside.uri, "");
    EXPECT_FALSE(shared.store(inside, *shared.find(photo, 320).thumbnail));
}

TEST_F(SharedThumbnailsTest, WritesEntriesTheDesktopTakesAsValidUntilThePhotoChanges) {
    const SharedThumbnail looked = shared.find(photo, 320);
    const auto made = TesselRenderer::thumbnailData(photo, 320);
    ASSERT_TRUE(made);
    ASSERT_TRUE(shared.store(looked, *made));

    const fs::path entry = entryOf(photo, "large");
    const std::vector<std::uint8_t> bytes = testing::readBytes(entry);
    std::vector<PngText> keys;
    const auto image = detail::decodePNG(bytes, &keys);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width, 256);
    EXPECT_EQ(image->height, 170);
    std::vector<PngText> expected = keysOf(photo);
    expected.push_back({"Software", "Tessel " + std::string(Updater::currentVersion())});
    EXPECT_EQ(keys, expected);
    // Readable by the user alone, in folders only the user opens.
    const auto permissions = [](const fs::path& path) {
        return fs::status(path).permissions() & fs::perms::all;
    };
    EXPECT_EQ(permissions(entry), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(permissions(cache), fs::perms::owner_all);
    EXPECT_EQ(permissions(cache / "large"), fs::perms::owner_all);
    EXPECT_EQ(std::distance(fs::directory_iterator(cache / "large"), fs::directory_iterator()), 1);

    EXPECT_EQ(gioThumbnailInfo(), "attributes:\n  thumbnail::path: " + entry.string() +
                                      "\n  thumbnail::is-valid: TRUE\n");
    const auto [colour, size] = look(shared.find(photo, 320).thumbnail);
    EXPECT_TRUE(testing::near(colour, {200, 30, 30, 255}, 6)) << colour;

    touchPhoto(10);
    EXPECT_EQ(gioThumbnailInfo(), "attributes:\n  thumbnail::path: " + entry.string() +
                                      "\n  thumbnail::is-valid: FALSE\n");
    EXPECT_FALSE(shared.find(photo, 320).thumbnail);
}

TEST_F(SharedThumbnailsTest, AFailureIsOnRecordUntilThePhotoChanges) {
    ASSERT_TRUE(shared.storeFailure(shared.find(photo, 320)));
    EXPECT_TRUE(shared.find(photo, 320).failedBefore);
    EXPECT_TRUE(fs::exists(cache / "fail" / ("tessel-" + std::string(Updater::currentVersion())) /
                           entryOf(photo, "large").filename()));
    touchPhoto(10);
    EXPECT_FALSE(shared.find(photo, 320).failedBefore);
}

}  // namespace
}  // namespace tessel
