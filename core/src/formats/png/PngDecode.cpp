#include "formats/png/Png.hpp"
#include "formats/png/Spng.hpp"

namespace tessel::detail {

std::optional<RgbaImage> decodePNG(std::span<const std::uint8_t> png) {
    SpngContext ctx{spng_ctx_new(0)};
    if (!ctx || spng_set_png_buffer(ctx.get(), png.data(), png.size()) != 0) return std::nullopt;
    spng_ihdr ihdr{};
    std::size_t size = 0;
    if (spng_get_ihdr(ctx.get(), &ihdr) != 0 ||
        spng_decoded_image_size(ctx.get(), SPNG_FMT_RGBA8, &size) != 0)
        return std::nullopt;
    RgbaImage image;
    image.width = ihdr.width;
    image.height = ihdr.height;
    image.pixels.resize(size);
    if (spng_decode_image(ctx.get(), image.pixels.data(), size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) !=
        0)
        return std::nullopt;
    return image;
}

}  // namespace tessel::detail
