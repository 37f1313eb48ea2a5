#pragma once
/// Image inspection: what Tessel learns of an image file before it takes part in a sheet,
/// and small JPEG thumbnails for image lists.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessel {

/// What inspection learnt about one image file.
struct SheetImageInfo {
    std::int64_t width = 0;       ///< displayed pixels (orientation applied), at least 1
    std::int64_t height = 0;      ///< displayed pixels (orientation applied), at least 1
    std::int64_t frameCount = 1;  ///< always 1: other counts are refused
    std::int64_t bytes = 0;       ///< file size, 0 when it cannot be read
    /// EXIF DateTimeOriginal read as wall-clock time in the machine's time zone.
    std::optional<std::chrono::system_clock::time_point> dateTaken;
    /// TIFF Model exactly as stored, blanks included.
    std::optional<std::string> cameraModel;

    friend bool operator==(const SheetImageInfo&, const SheetImageInfo&) = default;
};

/// An image file paired with what inspection learnt of it; a list of these in sheet order is
/// what rendering consumes.
struct SheetInput {
    std::filesystem::path url;
    SheetImageInfo info;

    friend bool operator==(const SheetInput&, const SheetInput&) = default;
};

namespace TesselRenderer {

/// The lower-case extensions accepted as images when collecting files from folders: the
/// ordinary image formats, then the camera RAW formats (`rawExtensions`).
inline constexpr std::string_view supportedExtensions[] = {
    "heic", "heif", "jpg", "jpeg", "png", "tif", "tiff", "webp",
    // Camera RAW formats, read through LibRaw.
    "3fr", "arw", "cr2", "cr3", "crw", "dcr", "dng", "erf", "fff", "gpr", "iiq", "k25", "kdc",
    "mef", "mos", "mrw", "nef", "nrw", "orf", "pef", "raf", "raw", "rw2", "rwl", "sr2", "srf",
    "srw", "x3f"};

/// The camera RAW formats among `supportedExtensions`: files with these extensions are read
/// through LibRaw (and never through the TIFF reader, although most are TIFF containers).
inline constexpr std::span<const std::string_view> rawExtensions{supportedExtensions + 8,
                                                                 std::end(supportedExtensions)};

/// Reads the headers of `file` (never its pixels; never a camera RAW file's sensor data).
/// Throws `TesselError::cannotRead` naming the file when it cannot be opened or its size is
/// below 1 × 1, and `TesselError::multiFrame` when it holds any number of frames other than
/// one. A camera RAW file is one frame (the previews it embeds are not frames), its size that
/// of its developed picture: stretched to square pixels and turned by its orientation.
SheetImageInfo inspect(const std::filesystem::path& file);

/// Reports how far a batch is: items finished so far out of the total. Called from the
/// thread that started the batch, in increasing order.
using BatchProgress = std::function<void(std::int64_t done, std::int64_t total)>;

/// `inspect` for every file, on all processors at once, with the results in the order given.
/// Throws the error of the first file, in that order, that fails; files after it may or may
/// not have been read.
std::vector<SheetImageInfo> inspectAll(const std::vector<std::filesystem::path>& files,
                                       const BatchProgress& progress = {});

/// Upright JPEG bytes (quality 0.78) no larger than `maxPixelSize` (raised to 1) on the
/// longest side; nothing when the file cannot be opened or decoded. Never throws.
std::optional<std::vector<std::uint8_t>> thumbnailData(const std::filesystem::path& file,
                                                       std::int64_t maxPixelSize);

/// The memory, in bytes, that decoding one image may take (1.5 GiB unless set). Inspection
/// and decoding judge it from the file's headers first and refuse a file that would need
/// more (a progressive JPEG's or an interlaced PNG's whole image, a huge GIF canvas) as
/// unreadable, without decoding it.
std::int64_t decodingBudget();

/// Sets the budget for every later inspection and decoding in the process; 0 or less
/// restores the default. Safe to call from any thread.
void setDecodingBudget(std::int64_t bytes);

/// Loads the optional decoders (HEIF) when a file first needs one, rather than every image
/// plug-in the system has installed when the first image is opened: about 25 ms less before
/// a short-lived process's first picture. It works through the environment, which programs
/// started later inherit, so it is only for a process that starts none; call it at the top
/// of `main`, before any thread exists. Does nothing when the user set `VIPSHOME`.
void startDecodersOnDemand();

/// Parses EXIF date text "yyyy:MM:dd HH:mm:ss" as wall-clock time in the current time zone.
std::optional<std::chrono::system_clock::time_point> parseExifDate(std::string_view text);

}  // namespace TesselRenderer
}  // namespace tessel
