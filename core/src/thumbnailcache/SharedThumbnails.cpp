// The shared thumbnail cache as the freedesktop Thumbnail Managing Standard lays it out:
// entries named after the MD5 of the file's URI, in a folder per size ("large" holds up to
// 256 pixels, "x-large" up to 512), each a PNG whose text keys say which file it shows and
// when that file was last changed; failures under "fail/{program}-{version}/". Entries are
// trusted only while the keys match the file, as GLib and the file managers check them.

#include "tessel/SharedThumbnails.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

#include "tessel/Files.hpp"
#include "tessel/Updater.hpp"

#include "base/AtomicFile.hpp"
#include "decode/DecodeBytes.hpp"
#include "decode/Reduce.hpp"
#include "formats/BitmapRows.hpp"
#include "formats/Encode.hpp"
#include "formats/png/Png.hpp"
#include "thumbnailcache/ThumbnailNames.hpp"

namespace tessel {
namespace {

namespace fs = std::filesystem;
using detail::PngText;

constexpr std::int64_t kLargePixels = 256;
// A large entry is some 100 KB, an x-large one a few hundred: anything far larger is not one.
constexpr std::uintmax_t kLargestEntry = std::uintmax_t{16} << 20;

const char* const kURIKey = "Thumb::URI";
const char* const kModifiedKey = "Thumb::MTime";
const char* const kSizeKey = "Thumb::Size";

std::string failureFolderName() { return "tessel-" + std::string(Updater::currentVersion()); }

bool isInside(const fs::path& file, fs::path folder) {
    folder = folder.lexically_normal();
    if (!folder.has_filename()) folder = folder.parent_path();
    const auto [end, at] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
    return end == folder.end();
}

std::optional<std::int64_t> integer(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// An entry describes the file when its URI and modification time are those of the file, and
// its size too when it gives one.
bool describes(const std::vector<PngText>& keys, const SharedThumbnail& file) {
    bool uri = false;
    bool modified = false;
    for (const PngText& key : keys) {
        if (key.keyword == kURIKey) {
            if (key.text != file.uri) return false;
            uri = true;
        } else if (key.keyword == kModifiedKey) {
            if (integer(key.text) != file.modified) return false;
            modified = true;
        } else if (key.keyword == kSizeKey && integer(key.text) != file.bytes) {
            return false;
        }
    }
    return uri && modified;
}

// The entry `entry` decoded, when it is a PNG that describes `file`.
std::optional<detail::RgbaImage> validEntry(const fs::path& entry, const SharedThumbnail& file) {
    std::error_code error;
    const std::string bytes = readFile(entry, kLargestEntry, error);
    if (error) return std::nullopt;
    std::vector<PngText> keys;
    std::optional<detail::RgbaImage> image = detail::decodePNG(
        {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, &keys);
    if (!image || !describes(keys, file)) return std::nullopt;
    return image;
}

std::optional<std::vector<std::uint8_t>> listThumbnail(const detail::RgbaImage& image,
                                                       std::int64_t maxPixelSize) {
    if (image.width < 1 || image.height < 1) return std::nullopt;
    const detail::Bitmap picture =
        detail::bitmapFromStraightRgba(image.pixels.data(), image.width, image.height);
    const std::optional<detail::Bitmap> reduced =
        detail::reducedPicture(picture, maxPixelSize, detail::ReduceFilter::cubic);
    if (!reduced) return std::nullopt;
    return detail::encodeThumbnail(*reduced);
}

// Makes the folders up to `folder` that are missing, each open to the user only.
bool makeUserFolders(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) return true;
    if (folder.has_relative_path() && folder.parent_path() != folder &&
        !makeUserFolders(folder.parent_path()))
        return false;
    return ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

std::vector<PngText> keysOf(const SharedThumbnail& file) {
    return {{kURIKey, file.uri},
            {kModifiedKey, std::to_string(file.modified)},
            {kSizeKey, std::to_string(file.bytes)},
            {"Software", "Tessel " + std::string(Updater::currentVersion())}};
}

bool writeEntry(const fs::path& folder, const SharedThumbnail& file,
                const detail::Bitmap& picture) {
    detail::PngTags tags;
    tags.text = keysOf(file);
    const bool opaque = detail::isOpaque(picture);
    const std::optional<std::vector<std::uint8_t>> png = detail::encodePNG(
        picture.width, picture.height, opaque ? detail::PngColor::rgb : detail::PngColor::rgba,
        [&](std::int64_t y, std::uint8_t* row) {
            if (opaque)
                detail::rgbRow(picture, y, row);
            else
                detail::straightRgbaRow(picture, y, row);
        },
        true, tags);
    if (!png || !makeUserFolders(folder)) return false;
    try {
        detail::AtomicFile entry(folder / detail::entryName(file.uri),
                                 detail::AtomicFile::Publishing::cacheEntry);
        entry.write(*png);
        entry.publishReplacing();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace

SharedThumbnails::SharedThumbnails(fs::path folder) : folder_(std::move(folder)) {}

fs::path SharedThumbnails::userFolder() { return userCacheFolder() / "thumbnails"; }

SharedThumbnail SharedThumbnails::find(const fs::path& file, std::int64_t maxPixelSize) const {
    SharedThumbnail found;
    std::error_code error;
    const fs::path path = fs::absolute(file, error).lexically_normal();
    struct stat status {};
    // Never a thumbnail of a thumbnail.
    if (error || ::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        isInside(path, fs::absolute(folder_, error)))
        return found;
    const std::optional<std::string> uri = detail::fileURI(path);
    if (!uri) return found;
    found.uri = *uri;
    found.modified = status.st_mtime;
    found.bytes = status.st_size;

    const std::string name = detail::entryName(found.uri);
    for (const char* size : {"large", "x-large"})
        if (const auto image = validEntry(folder_ / size / name, found)) {
            found.thumbnail = listThumbnail(*image, std::max<std::int64_t>(maxPixelSize, 1));
            if (found.thumbnail) return found;
        }
    found.failedBefore =
        validEntry(folder_ / "fail" / failureFolderName() / name, found).has_value();
    return found;
}

bool SharedThumbnails::store(const SharedThumbnail& looked,
                             std::span<const std::uint8_t> thumbnail) const {
    if (looked.uri.empty()) return false;
    const std::optional<detail::Bitmap> picture = detail::decodeImageBytes(thumbnail, kLargePixels);
    return picture && writeEntry(folder_ / "large", looked, *picture);
}

bool SharedThumbnails::storeFailure(const SharedThumbnail& looked) const {
    if (looked.uri.empty()) return false;
    // The standard asks for a PNG with the keys; its one pixel is not shown to anyone.
    const detail::Bitmap nothing{1, 1, std::vector<std::uint8_t>(4, 0)};
    return writeEntry(folder_ / "fail" / failureFolderName(), looked, nothing);
}

}  // namespace tessel
