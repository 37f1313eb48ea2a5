#pragma once
// Camera RAW files (LibRaw): what a file says about itself, read without unpacking the sensor
// data; its embedded previews; developing its sensor data; and the walk that tells a file cut
// short from one that is not a RAW at all.

#include <atomic>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tessel::detail {

/// Whether `file`'s extension, in any case, is one of `TesselRenderer::rawExtensions`.
bool hasRawExtension(const std::filesystem::path& file);

/// Why a RAW file could not be opened, its preview read or its sensor data developed.
enum class RawFailure {
    empty,        ///< the file has no bytes
    notRaw,       ///< no camera RAW container at all (text, another format)
    cutOff,       ///< a RAW container that ends before its data does
    damaged,      ///< a complete container whose data does not decode
    unsupported,  ///< a RAW format or camera this LibRaw does not know
    unreadable,   ///< the system refused to read it
    stopped,      ///< given up because its stop was raised
};

/// How the largest picture a camera embedded in its RAW file is stored.
enum class RawPreview {
    none,
    jpeg,    ///< a JPEG stream, as almost every camera since about 2005 writes
    bitmap,  ///< uncompressed RGB samples (old Kodak and Canon cameras, some DNGs)
};

/// What a RAW file says about itself; nothing here needs its sensor data unpacked.
struct RawFacts {
    /// The developed picture's size, with the pixel aspect and the orientation applied.
    std::int64_t width = 0;
    std::int64_t height = 0;
    /// The sensor's stored size, before cropping and stretching: what unpacking holds.
    std::int64_t rawWidth = 0;
    std::int64_t rawHeight = 0;
    /// The EXIF orientation code (1 to 8) in which the sensor data and the previews are shown.
    int orientation = 1;
    RawPreview preview = RawPreview::none;
    /// The preview's stored size (before the orientation); 0 when the file does not say.
    std::int64_t previewWidth = 0;
    std::int64_t previewHeight = 0;
    /// The camera wrote its previews in Adobe RGB (EXIF colour space "uncalibrated" with the
    /// interoperability index R03).
    bool adobeRGB = false;
    /// LibRaw's reading of the camera model and capture time, for formats whose metadata
    /// nothing else reads.
    std::string model;
    std::optional<std::time_t> timestamp;
};

/// 8-bit pixels, top row first, rows without padding.
struct RawPixels {
    std::int64_t width = 0;
    std::int64_t height = 0;
    int bands = 3;  ///< 1 (grey) or 3 (RGB)
    std::vector<std::uint8_t> samples;
};

/// An embedded preview: a JPEG stream, or samples.
struct RawPreviewData {
    std::vector<std::uint8_t> jpeg;  ///< the whole JPEG stream when the preview is one
    RawPixels pixels;                ///< the samples otherwise
};

/// The bytes unpacking and developing `facts`'s sensor data holds at its peak, at half size or
/// full size.
std::uint64_t rawDevelopingBytes(const RawFacts& facts, bool halfSize);

/// One camera RAW file opened and identified: its metadata is read, its sensor data is not.
/// Reads are given up once `stop` (when given) is raised.
class RawFile {
public:
    /// Opens and identifies `file`, reading at most `memoryBudget` bytes of sensor data later.
    static std::variant<RawFile, RawFailure> open(const std::filesystem::path& file,
                                                  std::uint64_t memoryBudget,
                                                  const std::atomic<bool>* stop = nullptr);

    RawFile(RawFile&&) noexcept;
    RawFile& operator=(RawFile&&) noexcept;
    ~RawFile();

    const RawFacts& facts() const;

    /// The developed picture's size exactly as LibRaw settles it (Fujifilm's 45° sensors
    /// included). Nothing can be read from the file afterwards: for inspection only.
    std::pair<std::int64_t, std::int64_t> displayedSize();

    /// The largest embedded preview, as stored (not turned).
    std::variant<RawPreviewData, RawFailure> preview();

    /// The sensor data developed into 8-bit sRGB with the camera's white balance, stretched to
    /// square pixels and turned upright; at half the size in each direction with `halfSize`
    /// (no demosaicing: much the faster).
    std::variant<RawPixels, RawFailure> develop(bool halfSize);

    struct State;  ///< LibRaw and what its callbacks report

private:
    explicit RawFile(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

/// The container of a RAW file as far as its own headers go.
enum class RawContainer {
    unknown,  ///< no camera RAW container this walk knows
    whole,    ///< its directories and the data they point to lie within the file
    cutOff,   ///< its directories or data point past the end of the file
};

/// Walks the directories of a TIFF-based RAW (NEF, CR2, ARW, DNG, ORF, RW2, PEF, KDC ...), a
/// Canon CIFF (CRW), an ISO media (CR3) or a Fujifilm RAF file, never its pixel data.
RawContainer walkRawContainer(const std::filesystem::path& file);

}  // namespace tessel::detail
