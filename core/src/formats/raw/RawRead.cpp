// Camera RAW files through LibRaw: identifying a file, its embedded preview, developing its
// sensor data.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <libraw/libraw.h>

#include "tessel/Inspection.hpp"

#include "base/Handle.hpp"
#include "formats/raw/Raw.hpp"

namespace tessel::detail {
namespace {

// LibRaw's flip (bit 0 mirrors left to right, bit 1 turns upside down, bit 2 transposes) as
// the EXIF orientation code it was read from.
int exifOrientation(int flip) {
    switch (flip) {
        case 1: return 2;
        case 3: return 3;
        case 2: return 4;
        case 4: return 5;
        case 6: return 6;
        case 7: return 7;
        case 5: return 8;
        default: return 1;
    }
}

bool quarterTurn(int orientation) { return orientation >= 5 && orientation <= 8; }

// LibRaw reads through this stream so that a stop raised meanwhile reaches its decoders, which
// look for it between rows.
class StoppableStream final : public LibRaw_bigfile_datastream {
public:
    StoppableStream(const char* name, const std::atomic<bool>* stop)
        : LibRaw_bigfile_datastream(name), stop_(stop) {}

    void watchedBy(LibRaw* raw) { raw_ = raw; }
    bool stopped() const { return stop_ != nullptr && stop_->load(std::memory_order_relaxed); }

    int read(void* buffer, size_t size, size_t count) override {
        if (raw_ != nullptr && stopped()) raw_->setCancelFlag();
        return LibRaw_bigfile_datastream::read(buffer, size, count);
    }

    /// Fills `bytes` from `offset` on; false when the file ends first.
    bool readAt(std::uint64_t offset, std::vector<std::uint8_t>& bytes) {
        if (seek(static_cast<INT64>(offset), SEEK_SET) != 0) return false;
        return bytes.empty() || LibRaw_bigfile_datastream::read(bytes.data(), 1, bytes.size()) ==
                                    static_cast<int>(bytes.size());
    }

private:
    const std::atomic<bool>* stop_;
    LibRaw* raw_ = nullptr;
};

}  // namespace

struct RawFile::State {
    // The stream outlives the LibRaw object that reads it.
    std::unique_ptr<StoppableStream> stream;
    std::unique_ptr<LibRaw> raw = std::make_unique<LibRaw>();
    RawFacts facts;
    // Where the preview lies in the file, and how many bytes it takes.
    std::uint64_t previewOffset = 0;
    std::uint64_t previewBytes = 0;
    bool dataError = false;  // LibRaw met corrupt data or an early end while decoding
    bool endOfFile = false;

    RawFailure failureOf(int result) const {
        if (stream->stopped() || result == LIBRAW_CANCELLED_BY_CALLBACK) return RawFailure::stopped;
        if (endOfFile || result == LIBRAW_IO_ERROR) return RawFailure::cutOff;
        if (result == LIBRAW_FILE_UNSUPPORTED || result == LIBRAW_NOT_IMPLEMENTED)
            return RawFailure::unsupported;
        return RawFailure::damaged;
    }
};

namespace {

// The core never logs: LibRaw's complaints about memory and data become the state's flags.
void onDataError(void* data, const char*, const int offset) {
    auto* state = static_cast<RawFile::State*>(data);
    state->dataError = true;
    if (offset < 0) state->endOfFile = true;
}

void onMemoryError(void* data, const char*, const char*) {
    static_cast<RawFile::State*>(data)->dataError = true;
}

int onProgress(void* data, enum LibRaw_progress, int, int) {
    return static_cast<RawFile::State*>(data)->stream->stopped() ? 1 : 0;
}

// The developed size without asking LibRaw to settle it (which would end its reading): the
// visible area stretched to square pixels and turned. Only Fujifilm's 45° sensors come out
// otherwise, a little larger.
std::pair<std::int64_t, std::int64_t> developedSize(const libraw_image_sizes_t& sizes,
                                                    int orientation) {
    auto width = static_cast<double>(sizes.width);
    auto height = static_cast<double>(sizes.height);
    if (sizes.pixel_aspect < 0.95 && sizes.pixel_aspect > 0)
        height = std::floor(height / sizes.pixel_aspect + 0.5);
    else if (sizes.pixel_aspect > 1.05)
        width = std::floor(width * sizes.pixel_aspect + 0.5);
    auto size = std::pair(static_cast<std::int64_t>(width), static_cast<std::int64_t>(height));
    if (quarterTurn(orientation)) std::swap(size.first, size.second);
    return size;
}

std::uint64_t fileSize(const std::filesystem::path& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    return error ? 0 : size;
}

RawPixels pixelsOf(const libraw_processed_image_t& image) {
    RawPixels pixels;
    pixels.width = image.width;
    pixels.height = image.height;
    pixels.bands = image.colors == 1 ? 1 : 3;
    const auto count = static_cast<std::size_t>(pixels.width * pixels.height) *
                       static_cast<std::size_t>(pixels.bands);
    pixels.samples.resize(count);
    if (image.bits == 16) {
        // Sixteen-bit samples in the machine's order: their high bytes.
        const auto* wide = reinterpret_cast<const std::uint16_t*>(image.data);
        for (std::size_t i = 0; i < count; ++i)
            pixels.samples[i] = static_cast<std::uint8_t>(wide[i] >> 8);
    } else {
        std::memcpy(pixels.samples.data(), image.data, count);
    }
    return pixels;
}

using ProcessedImage = Handle<libraw_processed_image_t*, LibRaw::dcraw_clear_mem>;

bool wellFormed(const libraw_processed_image_t* image) {
    if (image == nullptr || image->type != LIBRAW_IMAGE_BITMAP || image->width < 1 ||
        image->height < 1 || (image->bits != 8 && image->bits != 16) ||
        (image->colors != 1 && image->colors != 3))
        return false;
    const std::uint64_t expected =
        std::uint64_t{image->width} * image->height * image->colors * (image->bits / 8u);
    return image->data_size >= expected;
}

}  // namespace

bool hasRawExtension(const std::filesystem::path& file) {
    std::string extension = file.extension().string();
    if (extension.size() < 2) return false;
    extension.erase(0, 1);
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::ranges::find(TesselRenderer::rawExtensions, extension) !=
           TesselRenderer::rawExtensions.end();
}

std::uint64_t rawDevelopingBytes(const RawFacts& facts, bool halfSize) {
    // The unpacked sensor data (four samples a pixel for the few cameras whose data is not a
    // colour filter array; counted for all), the working image of four 16-bit samples a
    // pixel, LibRaw's copy of it while stretching or turning, and the 8-bit result.
    const double raw = static_cast<double>(facts.rawWidth) * static_cast<double>(facts.rawHeight);
    const double developed = static_cast<double>(facts.width) * static_cast<double>(facts.height) /
                             (halfSize ? 4.0 : 1.0);
    const double bytes = raw * 2 + developed * (8 + 8 + 3);
    return bytes < 1.8e19 ? static_cast<std::uint64_t>(bytes) : UINT64_MAX;
}

RawFile::RawFile(std::unique_ptr<State> state) : state_(std::move(state)) {}
RawFile::RawFile(RawFile&&) noexcept = default;
RawFile& RawFile::operator=(RawFile&&) noexcept = default;
RawFile::~RawFile() = default;

const RawFacts& RawFile::facts() const { return state_->facts; }

std::variant<RawFile, RawFailure> RawFile::open(const std::filesystem::path& file,
                                                std::uint64_t memoryBudget,
                                                const std::atomic<bool>* stop) {
    auto state = std::make_unique<State>();
    state->stream = std::make_unique<StoppableStream>(file.c_str(), stop);
    if (!state->stream->valid()) return RawFailure::unreadable;
    LibRaw& raw = *state->raw;
    state->stream->watchedBy(&raw);
    raw.set_dataerror_handler(onDataError, state.get());
    raw.set_memerror_handler(onMemoryError, state.get());
    raw.set_progress_handler(onProgress, state.get());
    libraw_output_params_t& params = raw.imgdata.params;
    params.max_raw_memory_mb =
        static_cast<unsigned>(std::clamp<std::uint64_t>(memoryBudget >> 20, 1, 1u << 20));
    // Previews are turned here, all of them alike, by the file's orientation.
    params.raw_processing_options |= LIBRAW_PROCESSING_NO_ROTATE_FOR_KODAK_THUMBNAILS;

    const int opened = raw.open_datastream(state->stream.get());
    if (opened != LIBRAW_SUCCESS) {
        if (fileSize(file) == 0) return RawFailure::empty;
        if (state->stream->stopped()) return RawFailure::stopped;
        // LibRaw says the same of a text file, of a file cut before its directories and of a
        // camera it does not know; the container's own structure tells them apart.
        switch (walkRawContainer(file)) {
            case RawContainer::unknown: return RawFailure::notRaw;
            case RawContainer::cutOff: return RawFailure::cutOff;
            case RawContainer::whole: break;
        }
        return opened == LIBRAW_FILE_UNSUPPORTED ? RawFailure::unsupported
                                                 : state->failureOf(opened);
    }

    const libraw_data_t& data = raw.imgdata;
    RawFacts& facts = state->facts;
    facts.orientation = exifOrientation(data.sizes.flip);
    std::tie(facts.width, facts.height) = developedSize(data.sizes, facts.orientation);
    facts.rawWidth = data.sizes.raw_width;
    facts.rawHeight = data.sizes.raw_height;
    if (facts.width < 1 || facts.height < 1 || facts.rawWidth < 1 || facts.rawHeight < 1)
        return RawFailure::damaged;
    const libraw_internal_data_t& internal = *raw.get_internal_data_pointer();
    const std::uint64_t size = fileSize(file);
    // The preview is read here, not by LibRaw's unpack_thumb: this LibRaw overruns its buffer
    // on some crafted uncompressed thumbnails. A JPEG stream, or plain 8-bit RGB samples in one
    // piece, are what cameras embed; anything else counts as no preview.
    const auto offset = static_cast<std::uint64_t>(internal.internal_data.toffset);
    const libraw_thumbnail_t& thumbnail = data.thumbnail;
    const std::uint64_t samples = std::uint64_t{thumbnail.twidth} * thumbnail.theight * 3;
    constexpr unsigned kEightBitRgb = 8 | 3 << 5;  // bits per sample, samples << 5
    if (raw.thumbOK() != 0 && offset > 0) {
        if (raw.is_jpeg_thumb() != 0 && thumbnail.tlength > 0 &&
            offset + thumbnail.tlength <= size) {
            facts.preview = RawPreview::jpeg;
            state->previewBytes = thumbnail.tlength;
        } else if (raw.is_jpeg_thumb() == 0 && internal.unpacker_data.thumb_misc == kEightBitRgb &&
                   samples > 0 && offset + samples <= size) {
            facts.preview = RawPreview::bitmap;
            state->previewBytes = samples;
        }
        if (facts.preview != RawPreview::none) {
            state->previewOffset = offset;
            facts.previewWidth = thumbnail.twidth;
            facts.previewHeight = thumbnail.theight;
        }
    }
    facts.adobeRGB = data.color.ExifColorSpace == LIBRAW_COLORSPACE_AdobeRGB;
    facts.model = data.idata.model;
    // A time not after 1970, or past what the clock counts (2262), is a misread field.
    constexpr auto kLatestTime = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::system_clock::duration::max());
    if (data.other.timestamp > 0 && data.other.timestamp < kLatestTime.count())
        facts.timestamp = data.other.timestamp;

    // The sensor data must lie within the file; a file cut short is said to be so now rather
    // than when a page needs it.
    const auto dataOffset = static_cast<std::uint64_t>(internal.unpacker_data.data_offset);
    if (dataOffset >= size || dataOffset + internal.unpacker_data.data_size > size)
        return RawFailure::cutOff;
    return RawFile(std::move(state));
}

std::pair<std::int64_t, std::int64_t> RawFile::displayedSize() {
    LibRaw& raw = *state_->raw;
    if (raw.adjust_sizes_info_only() != LIBRAW_SUCCESS)
        return {state_->facts.width, state_->facts.height};
    return {raw.imgdata.sizes.iwidth, raw.imgdata.sizes.iheight};
}

std::variant<RawPreviewData, RawFailure> RawFile::preview() {
    const RawFacts& facts = state_->facts;
    if (facts.preview == RawPreview::none) return RawFailure::damaged;
    std::vector<std::uint8_t> bytes(state_->previewBytes);
    if (!state_->stream->readAt(state_->previewOffset, bytes)) return RawFailure::cutOff;
    RawPreviewData preview;
    if (facts.preview == RawPreview::jpeg) {
        if (bytes.size() < 2 || bytes[0] != 0xFF || bytes[1] != 0xD8) return RawFailure::damaged;
        preview.jpeg = std::move(bytes);
    } else {
        preview.pixels = {facts.previewWidth, facts.previewHeight, 3, std::move(bytes)};
    }
    return preview;
}

std::variant<RawPixels, RawFailure> RawFile::develop(bool halfSize) {
    LibRaw& raw = *state_->raw;
    libraw_output_params_t& params = raw.imgdata.params;
    params.half_size = halfSize ? 1 : 0;
    params.use_camera_wb = 1;  // as shot, as the camera's own preview shows it
    params.output_color = 1;   // sRGB
    params.output_bps = 8;
    // sRGB's own tone curve rather than LibRaw's default (BT.709's).
    params.gamm[0] = 1 / 2.4;
    params.gamm[1] = 12.92;
    int result = raw.unpack();
    if (result == LIBRAW_SUCCESS) result = raw.dcraw_process();
    if (result != LIBRAW_SUCCESS) return state_->failureOf(result);
    // Damage LibRaw read past is damage still: no partly made-up picture.
    if (state_->endOfFile) return RawFailure::cutOff;
    if (state_->dataError) return RawFailure::damaged;
    int error = 0;
    const ProcessedImage image(raw.dcraw_make_mem_image(&error));
    if (!wellFormed(image.get())) return state_->failureOf(error);
    return pixelsOf(*image.get());
}

}  // namespace tessel::detail
