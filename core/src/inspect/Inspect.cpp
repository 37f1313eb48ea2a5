#include <cerrno>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "tessel/Files.hpp"
#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

#include "base/Files.hpp"
#include "base/SystemCause.hpp"
#include "decode/Decode.hpp"
#include "decode/DecodeBudget.hpp"
#include "decode/DecodeCause.hpp"
#include "decode/Vips.hpp"
#include "formats/exif/ExifReader.hpp"
#include "formats/gif/Gif.hpp"
#include "formats/heif/Heif.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/png/Png.hpp"
#include "formats/raw/Raw.hpp"
#include "inspect/InspectRaw.hpp"

namespace tessel::TesselRenderer {

namespace {

enum class Container { jpeg, png, gif, tiff, webp, heif };

// Only the loaders of raster photo formats are accepted; anything else libvips could open
// (PPM, FITS, Radiance, matrix files...) is not a photograph for a sheet.
std::string nicknameOf(const char* loaderType) {
    const GType type = g_type_from_name(loaderType);
    const char* nickname = type != 0 ? vips_nickname_find(type) : nullptr;
    return nickname != nullptr ? nickname : "";
}

std::optional<Container> containerOf(const char* loaderType) {
    const std::string name = nicknameOf(loaderType);
    if (name == "jpegload_source") return Container::jpeg;
    if (name == "pngload_source") return Container::png;
    if (name == "gifload_source") return Container::gif;
    if (name == "tiffload_source") return Container::tiff;
    if (name == "webpload_source") return Container::webp;
    if (name == "heifload_source") return Container::heif;
    return std::nullopt;
}

// The header read alone misses damage beyond the headers: a JPEG cut before its end, a PNG
// with a bad IDAT checksum, an animation cut after its first frame. Those containers are
// walked to their end. libheif and libwebp check themselves that their data lies inside the
// file, so HEIF is walked only for what libheif miscounts (grid inputs, image sequences).
std::optional<detail::ContainerFacts> walk(Container container, const std::filesystem::path& file) {
    if (container == Container::heif) return detail::walkHeif(file);
    if (container == Container::jpeg) return detail::walkJpeg(file);
    if (container == Container::tiff || container == Container::webp) {
        return detail::ContainerFacts{};
    }
    std::error_code error;
    const std::string bytes = readFile(file, error);
    if (error) return std::nullopt;
    const std::span<const std::uint8_t> view(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                             bytes.size());
    return container == Container::png ? detail::walkPng(view) : detail::walkGif(view);
}

std::vector<std::uint8_t> exifBlobOf(VipsImage* image) {
    if (vips_image_get_typeof(image, VIPS_META_EXIF_NAME) == 0) return {};
    const void* data = nullptr;
    std::size_t length = 0;
    if (vips_image_get_blob(image, VIPS_META_EXIF_NAME, &data, &length) != 0) {
        vips_error_clear();
        return {};
    }
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    return {bytes, bytes + length};
}

[[noreturn]] void refuse(const std::string& name, std::string cause) {
    // What libvips had to say is in `cause` where it matters; the buffer is emptied so it
    // cannot grow.
    vips_error_clear();
    throw TesselError::cannotRead(name).withCause(std::move(cause));
}

// Whether `file` ends as a complete file of its container does: a walk that failed on a file
// that does not was cut off (a download or copy that stopped), one that does is damaged.
bool endsComplete(Container container, const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    char bytes[12] = {};
    if (!in.seekg(-static_cast<std::streamoff>(sizeof bytes), std::ios::end) ||
        !in.read(bytes, sizeof bytes))
        return false;  // shorter than any complete image
    const std::string_view tail(bytes, sizeof bytes);
    switch (container) {
        case Container::jpeg: return tail.ends_with("\xFF\xD9");
        case Container::png: return tail.size() >= 8 && tail.substr(tail.size() - 8, 4) == "IEND";
        case Container::gif: return tail.ends_with(';');
        default: return true;
    }
}

// The container's facts, or the file refused as cut off or damaged.
detail::ContainerFacts walkOrRefuse(Container container, const std::filesystem::path& file,
                                    const std::string& name) {
    std::optional<detail::ContainerFacts> facts = walk(container, file);
    if (!facts)
        refuse(name, endsComplete(container, file) ? detail::kDamagedCause : detail::kCutOffCause);
    return std::move(*facts);
}

}  // namespace

SheetImageInfo inspect(const std::filesystem::path& file) {
    const std::string name = file.filename().string();
    // Camera RAW files are known by their names: most are TIFF containers whose first picture
    // is a small thumbnail, which the TIFF reader would take for the photograph.
    if (detail::hasRawExtension(file)) return detail::inspectRaw(file);
    detail::ensureDecodersFor(file);

    // Only regular files: a FIFO or a device named like a photo would block or never end.
    if (!detail::openRegularFile(file)) refuse(name, detail::openingCause(errno));
    // A source rather than a file name: libvips would read "[...]" at the end of a file
    // name as load options.
    const detail::VipsSourceRef source(vips_source_new_from_file(file.c_str()));
    if (!source) refuse(name, detail::decoderCause());
    const char* loader = vips_foreign_find_load_source(source.get());
    if (loader == nullptr) {
        std::error_code error;
        const bool empty = std::filesystem::file_size(file, error) == 0 && !error;
        refuse(name, empty ? detail::kEmptyFileCause : detail::kNotAnImageCause);
    }
    const std::optional<Container> container = containerOf(loader);
    if (!container) refuse(name, detail::unusedFormatCause(nicknameOf(loader)));
    // libpng sets aside the length a chunk declares before it reads the chunk: a few bytes
    // claiming a text chunk of a gigabyte would cost a gigabyte. A PNG is known to hold every
    // chunk it declares before libvips reads its header.
    std::optional<detail::ContainerFacts> facts;
    if (*container == Container::png) facts = walkOrRefuse(*container, file, name);
    const detail::VipsImageRef image(vips_image_new_from_source(source.get(), "", nullptr));
    if (!image) refuse(name, detail::decoderCause());
    // A file that could never be decoded within the budget is refused now, not at drawing.
    if (!detail::withinDecodingBudget(image.get(), file))
        refuse(name, detail::budgetCause(vips_image_get_width(image.get()),
                                         vips_image_get_height(image.get())));

    std::int64_t frameCount = vips_image_get_n_pages(image.get());
    std::vector<std::uint8_t> exif = exifBlobOf(image.get());
    if (!facts) facts = walkOrRefuse(*container, file, name);
    if (facts->frameCount) frameCount = *facts->frameCount;
    // libvips reads PNG eXIf only when it precedes the image data.
    if (*container == Container::png) exif = std::move(facts->exif);
    if (frameCount != 1) throw TesselError::multiFrame(name, frameCount);

    const detail::ExifFacts metadata =
        *container == Container::tiff ? detail::readImageFile(file) : detail::readExifBlock(exif);
    // A DNG named like a TIFF (or like nothing at all) is a camera RAW file still.
    if (metadata.dng) return detail::inspectRaw(file);
    std::int64_t width = vips_image_get_width(image.get());
    std::int64_t height = vips_image_get_height(image.get());
    // libheif has already applied the container's rotation; HEIF's EXIF orientation only
    // describes what was done and is not applied again.
    const std::int64_t orientation =
        *container == Container::heif ? 1 : metadata.orientation.value_or(1);
    if (orientation >= 5 && orientation <= 8) std::swap(width, height);
    if (width < 1 || height < 1) refuse(name, detail::kNoSizeCause);

    return detail::imageInfo(file, width, height, metadata);
}

}  // namespace tessel::TesselRenderer

namespace tessel::detail {

SheetImageInfo imageInfo(const std::filesystem::path& file, std::int64_t width, std::int64_t height,
                         const ExifFacts& metadata) {
    SheetImageInfo info;
    info.width = width;
    info.height = height;
    info.frameCount = 1;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    info.bytes = error ? 0 : static_cast<std::int64_t>(size);
    if (metadata.dateTimeOriginal)
        info.dateTaken = TesselRenderer::parseExifDate(*metadata.dateTimeOriginal);
    info.cameraModel = metadata.model;
    return info;
}

}  // namespace tessel::detail
