#include "decode/DecodeBytes.hpp"

#include <algorithm>

#include "decode/Decode.hpp"
#include "decode/Vips.hpp"
#include "formats/BitmapRows.hpp"

namespace tessel::detail {
namespace {

template <class Operation>
VipsImageRef apply(const VipsImageRef& in, Operation operation) {
    VipsImageRef out;
    if (!in || operation(in.get(), out.out()) != 0) return {};
    return out;
}

// Straight R, G, B, A in 8 bits: the shape every image is brought to before it is copied out.
VipsImageRef toRgba(const VipsImageRef& image) {
    VipsImageRef rgba =
        apply(apply(image,
                    [](VipsImage* in, VipsImage** out) {
                        return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
                    }),
              [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); });
    if (rgba && !vips_image_hasalpha(rgba.get()))
        rgba = apply(rgba, [](VipsImage* in, VipsImage** out) {
            return vips_bandjoin_const1(in, out, 255.0, nullptr);
        });
    return rgba && vips_image_get_bands(rgba.get()) == 4 ? std::move(rgba) : VipsImageRef{};
}

}  // namespace

std::optional<Bitmap> decodeImageBytes(std::span<const std::uint8_t> bytes,
                                       std::int64_t maxPixelSize) {
    ensureVipsStarted();
    constexpr std::int64_t largestTarget = 10'000'000;  // libvips's limit for a target size
    const int size = static_cast<int>(std::clamp<std::int64_t>(maxPixelSize, 1, largestTarget));
    VipsImageRef image;
    if (vips_thumbnail_buffer(const_cast<std::uint8_t*>(bytes.data()), bytes.size(), image.out(),
                              size, "height", size, "size", VIPS_SIZE_DOWN, nullptr) != 0) {
        vips_error_clear();
        return std::nullopt;
    }
    image = toRgba(image);
    std::size_t length = 0;
    const GlibMemory memory(image ? vips_image_write_to_memory(image.get(), &length) : nullptr);
    const std::int64_t width = image ? vips_image_get_width(image.get()) : 0;
    const std::int64_t height = image ? vips_image_get_height(image.get()) : 0;
    if (!memory || width < 1 || height < 1 ||
        length != static_cast<std::size_t>(width * height * 4)) {
        vips_error_clear();
        return std::nullopt;
    }
    return bitmapFromStraightRgba(static_cast<const std::uint8_t*>(memory.get()), width, height);
}

}  // namespace tessel::detail
