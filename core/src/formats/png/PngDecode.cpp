#include "formats/png/Png.hpp"
#include "formats/png/Spng.hpp"

namespace tessel::detail {
namespace {

// Every textual chunk the decoder has read so far; after the image, also those behind it.
bool readText(spng_ctx* ctx, std::vector<PngText>& text) {
    std::uint32_t count = 0;
    const int status = spng_get_text(ctx, nullptr, &count);
    if (status == SPNG_ECHUNKAVAIL) return true;  // none
    if (status != 0) return false;
    std::vector<spng_text> chunks(count);
    if (spng_get_text(ctx, chunks.data(), &count) != 0) return false;
    for (const spng_text& chunk : chunks)
        text.push_back({chunk.keyword, std::string(chunk.text, chunk.length)});
    return true;
}

}  // namespace

std::optional<RgbaImage> decodePNG(std::span<const std::uint8_t> png, std::vector<PngText>* text) {
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
    if (text && !readText(ctx.get(), *text)) return std::nullopt;
    return image;
}

}  // namespace tessel::detail
