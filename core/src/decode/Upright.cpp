#include "decode/Upright.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tessel::detail {
namespace {

void freeSamples(VipsImage*, gpointer samples) {
    delete static_cast<std::vector<std::uint8_t>*>(samples);
}

}  // namespace

VipsImageRef reducedUpright(const VipsImageRef& image, int size, ReduceFilter filter) {
    if (!image) return {};
    if (vips_image_hasalpha(image.get())) {
        return apply(image, [size](VipsImage* in, VipsImage** out) {
            return vips_thumbnail_image(in, out, size, "height", size, "size", VIPS_SIZE_DOWN,
                                        nullptr);
        });
    }
    const int longer =
        std::max(vips_image_get_width(image.get()), vips_image_get_height(image.get()));
    VipsImageRef result =
        apply(image, [](VipsImage* in, VipsImage** out) { return vips_copy(in, out, nullptr); });
    if (result && longer > size) {
        const double scale = static_cast<double>(size) / longer;
        result = apply(result, [scale, filter](VipsImage* in, VipsImage** out) {
            return vips_resize(in, out, scale, "kernel", vipsKernel(filter), "gap", 0.0, nullptr);
        });
    }
    if (result && vips_image_get_orientation(result.get()) > 1) {
        // Turning needs the whole picture; the reduced one is small.
        const VipsImageRef whole(vips_image_copy_memory(result.get()));
        if (!whole) return {};
        result = apply(
            whole, [](VipsImage* in, VipsImage** out) { return vips_autorot(in, out, nullptr); });
    }
    return result;
}

namespace {

// A picture of `samples` that calls `release(owner)` when it is closed.
VipsImageRef pictureOf(const std::uint8_t* samples, std::size_t length, std::int64_t width,
                       std::int64_t height, int bands, gpointer owner, GCallback release,
                       int orientation, std::span<const std::uint8_t> iccProfile) {
    VipsImageRef image(vips_image_new_from_memory(samples, length, static_cast<int>(width),
                                                  static_cast<int>(height), bands,
                                                  VIPS_FORMAT_UCHAR));
    if (!image) {
        reinterpret_cast<void (*)(VipsImage*, gpointer)>(release)(nullptr, owner);
        return {};
    }
    // The image owns the samples from here on and frees them when it is closed.
    g_signal_connect(image.get(), "postclose", release, owner);
    image.get()->Type = bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
    if (!iccProfile.empty())
        vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, iccProfile.data(),
                                 iccProfile.size());
    if (orientation >= 2 && orientation <= 8)
        vips_image_set_int(image.get(), VIPS_META_ORIENTATION, orientation);
    return image;
}

bool fits(std::size_t length, std::int64_t width, std::int64_t height, int bands) {
    return width >= 1 && height >= 1 && (bands == 1 || bands == 3) &&
           length >= static_cast<std::size_t>(width * height * bands);
}

void freeMalloced(VipsImage*, gpointer samples) { std::free(samples); }

}  // namespace

VipsImageRef pictureOfSamples(std::vector<std::uint8_t> samples, std::int64_t width,
                              std::int64_t height, int bands, int orientation,
                              std::span<const std::uint8_t> iccProfile) {
    if (!fits(samples.size(), width, height, bands)) return {};
    auto* owned = new std::vector<std::uint8_t>(std::move(samples));
    return pictureOf(owned->data(), owned->size(), width, height, bands, owned,
                     G_CALLBACK(freeSamples), orientation, iccProfile);
}

VipsImageRef pictureOfSamples(ScaledJpeg decoded, int orientation,
                              std::span<const std::uint8_t> iccProfile) {
    const auto length = static_cast<std::size_t>(decoded.width * decoded.height) *
                        static_cast<std::size_t>(decoded.components);
    if (!decoded.pixels || !fits(length, decoded.width, decoded.height, decoded.components))
        return {};
    std::uint8_t* pixels = decoded.pixels.release();
    return pictureOf(pixels, length, decoded.width, decoded.height, decoded.components, pixels,
                     G_CALLBACK(freeMalloced), orientation, iccProfile);
}

}  // namespace tessel::detail
