#include "decode/Decode.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "base/Files.hpp"
#include "base/SystemCause.hpp"
#include "decode/DecodeBudget.hpp"
#include "decode/DecodeCause.hpp"
#include "decode/RawDecode.hpp"
#include "decode/Upright.hpp"
#include "decode/Vips.hpp"
#include "formats/exif/ExifReader.hpp"
#include "formats/jpeg/Jpeg.hpp"

namespace tessel::detail {
namespace {

using ImageRef = VipsImageRef;

ImageRef open(const std::filesystem::path& file, int jpegShrink = 0) {
    VipsImage* image = nullptr;
    if (jpegShrink > 0)
        image = vips_image_new_from_file(file.c_str(), "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                         VIPS_FAIL_ON_ERROR, "shrink", jpegShrink, nullptr);
    else
        image = vips_image_new_from_file(file.c_str(), "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                         VIPS_FAIL_ON_ERROR, nullptr);
    return ImageRef(image);
}

/// The smallest DCT scale (1/2, 1/4, 1/8) that still leaves the JPEG's longer side at least
/// `size`. libvips's own thumbnail keeps a factor of two in reserve and decodes at twice that
/// scale, which costs about half as much again for no visible gain at the sizes pages draw.
int jpegShrink(const std::filesystem::path& file, int size) {
    const ImageRef header = open(file);
    if (!header) return 0;
    const int longer =
        std::max(vips_image_get_width(header.get()), vips_image_get_height(header.get()));
    int shrink = 1;
    while (shrink < 8 && longer / (shrink * 2) >= size) shrink *= 2;
    return shrink;
}

/// A JPEG decoded straight through libjpeg-turbo at a reduced DCT scale, as a libvips image
/// carrying its orientation and ICC profile. libvips's own JPEG loader reaches the same
/// pixels but costs a sixth more per file in its tile machinery; files this way refuses
/// (CMYK, anything libjpeg warns about) take that loader instead.
ImageRef scaledJpeg(const std::filesystem::path& file, int size, int minimum, bool& cut,
                    const std::atomic<bool>* stop, ReduceFilter filter) {
    std::optional<ScaledJpeg> decoded = decodeScaledJPEG(file, minimum, cut, stop);
    if (!decoded) return {};
    const auto orientation = readExifBlock(decoded->exif).orientation.value_or(1);
    const std::vector<std::uint8_t> icc = std::move(decoded->icc);
    return reducedUpright(pictureOfSamples(std::move(*decoded), static_cast<int>(orientation), icc),
                          size, filter);
}

/// The picture at `size` on its longer side at most, upright, failing on damaged data; a JPEG
/// from the DCT scale that leaves at least `minimum`, given up once `stop` is raised.
ImageRef thumbnail(const std::filesystem::path& file, int size, int minimum,
                   const std::atomic<bool>* stop, ReduceFilter filter, bool& cut) {
    if (ImageRef fast = scaledJpeg(file, size, minimum, cut, stop, filter)) return fast;
    // libvips would fill the missing scans with grey.
    if (cut) return {};
    const char* loader = vips_foreign_find_load(file.c_str());
    if (!loader) return {};
    const std::string_view name(loader);
    if (name == "VipsForeignLoadJpegFile") {
        const int shrink = jpegShrink(file, minimum);
        return shrink > 0 ? reducedUpright(open(file, shrink), size, filter) : ImageRef();
    }
    // libvips's thumbnail would take the picture embedded in a HEIF file when it is large
    // enough; pages show the image itself. libheif decodes at full size either way.
    if (name == "VipsForeignLoadHeifFile") return reducedUpright(open(file), size, filter);

    // Other formats shrink on load where they can (WebP, pyramidal TIFF). CMYK is turned
    // into sRGB here already; RGB keeps its embedded profile for the step below.
    ImageRef out;
    if (vips_thumbnail(file.c_str(), out.out(), size, "height", size, "size", VIPS_SIZE_DOWN,
                       "fail_on", VIPS_FAIL_ON_ERROR, nullptr) != 0)
        return {};
    return out;
}

/// Converts an image with an embedded profile (Display P3, Adobe RGB ...) to sRGB. Untagged
/// images are taken as sRGB and left alone: asking libvips for an export profile on them
/// shifts saturated colours. A profile that cannot be used is ignored, not fatal.
ImageRef withSRGBProfile(ImageRef image) {
    if (vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) == 0) return image;
    ImageRef converted = apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_icc_transform(in, out, "srgb", "embedded", TRUE, "intent", VIPS_INTENT_RELATIVE,
                                  nullptr);
    });
    if (!converted) {
        vips_error_clear();
        return image;
    }
    return converted;
}

/// 8-bit sRGB with 3 or 4 bands (or 1 or 2 for grey that has no sRGB reading).
ImageRef toEightBitSRGB(ImageRef image) {
    const VipsInterpretation interpretation = vips_image_guess_interpretation(image.get());
    if (interpretation != VIPS_INTERPRETATION_sRGB || image.get()->BandFmt != VIPS_FORMAT_UCHAR) {
        image = apply(image, [](VipsImage* in, VipsImage** out) {
            return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
        });
        if (!image) return {};
    }
    if (image.get()->BandFmt != VIPS_FORMAT_UCHAR) {
        image = apply(image, [](VipsImage* in, VipsImage** out) {
            return vips_cast_uchar(in, out, nullptr);
        });
    }
    return image;
}

std::uint8_t premultiplied(std::uint32_t component, std::uint32_t alpha) {
    return static_cast<std::uint8_t>((component * alpha + 127) / 255);
}

/// Copies interleaved 8-bit pixels of 1 to 4 bands into cairo's premultiplied ARGB32 words.
Bitmap toBitmap(const std::uint8_t* pixels, std::int64_t width, std::int64_t height, int bands) {
    Bitmap bitmap{width, height, {}};
    const auto count = static_cast<std::size_t>(width * height);
    bitmap.pixels.resize(count * 4);
    std::uint8_t* out = bitmap.pixels.data();
    const auto step = static_cast<std::size_t>(bands);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* in = pixels + i * step;
        std::uint32_t r = in[0], g = in[0], b = in[0], a = 255;
        if (bands >= 3) {
            g = in[1];
            b = in[2];
        }
        if (bands == 2) a = in[1];
        if (bands == 4) a = in[3];
        if (a != 255) {
            r = premultiplied(r, a);
            g = premultiplied(g, a);
            b = premultiplied(b, a);
        }
        const std::uint32_t word = (a << 24) | (r << 16) | (g << 8) | b;
        std::memcpy(out + i * 4, &word, 4);
    }
    return bitmap;
}

}  // namespace

std::optional<Bitmap> decodeUpright(const std::filesystem::path& file, const DecodeRequest& request,
                                    std::string* cause) {
    ensureDecodersFor(file);
    // libvips refuses target sizes above ten million; any such bound means "no bound".
    constexpr std::int64_t largestTarget = 10'000'000;
    const int size =
        static_cast<int>(std::clamp<std::int64_t>(request.maxPixelSize, 1, largestTarget));
    const int minimum =
        request.minimumPixelSize > 0
            ? static_cast<int>(std::clamp<std::int64_t>(request.minimumPixelSize, 1, largestTarget))
            : size;

    // Nothing but a regular file is opened (a FIFO would block, a device never end), and
    // nothing whose decoding would take more memory than the budget allows.
    const auto fail = [cause](std::string why) -> std::optional<Bitmap> {
        if (cause) *cause = std::move(why);
        vips_error_clear();
        return std::nullopt;
    };
    if (!openRegularFile(file)) return fail(openingCause(errno));
    const bool raw = readsAsRaw(file);
    // A RAW file's way to its picture, and so its cost, is settled once it is opened.
    if (!raw && !withinDecodingBudget(file, std::max(size, minimum)))
        return fail(budgetRefusalCause(file));

    bool cut = false;
    std::string rawCause;
    ImageRef image = raw ? rawPicture(file, request, size, minimum, rawCause)
                         : thumbnail(file, size, minimum, request.stop, request.filter, cut);
    if (image) image = toEightBitSRGB(withSRGBProfile(std::move(image)));
    const int bands = image ? vips_image_get_bands(image.get()) : 0;
    if (!image || bands < 1 || bands > 4) {
        if (!rawCause.empty()) return fail(rawCause);
        if (cut) return fail(kCutOffCause);
        if (!image && !raw && vips_foreign_find_load(file.c_str()) == nullptr)
            return fail(kNotAnImageCause);
        return fail(decoderCause());
    }

    // Writing to memory runs the whole pipeline; a decoding failure anywhere surfaces here.
    std::size_t length = 0;
    const GlibMemory memory(vips_image_write_to_memory(image.get(), &length));
    const std::int64_t width = vips_image_get_width(image.get());
    const std::int64_t height = vips_image_get_height(image.get());
    if (!memory || width < 1 || height < 1 ||
        length != static_cast<std::size_t>(width * height * bands))
        return fail(decoderCause());
    return toBitmap(static_cast<const std::uint8_t*>(memory.get()), width, height, bands);
}

}  // namespace tessel::detail
