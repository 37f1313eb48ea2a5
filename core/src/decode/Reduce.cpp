#include "decode/Reduce.hpp"

#include <algorithm>
#include <cstring>

#include "decode/Decode.hpp"
#include "decode/Vips.hpp"

namespace tessel::detail {

VipsKernel vipsKernel(ReduceFilter filter) {
    switch (filter) {
        case ReduceFilter::linear: return VIPS_KERNEL_LINEAR;
        case ReduceFilter::cubic: return VIPS_KERNEL_CUBIC;
    }
    return VIPS_KERNEL_LINEAR;
}

std::optional<Bitmap> reducedPicture(const Bitmap& picture, std::int64_t maxPixelSize,
                                     ReduceFilter filter) {
    const std::int64_t longer = std::max(picture.width, picture.height);
    const std::int64_t size = std::max<std::int64_t>(maxPixelSize, 1);
    if (longer <= size) return picture;

    ensureVipsStarted();
    // The four bytes of a pixel are four bands to libvips; each is resampled on its own,
    // which is right for premultiplied pixels whatever their order.
    const VipsImageRef image(vips_image_new_from_memory(
        picture.pixels.data(), picture.pixels.size(), static_cast<int>(picture.width),
        static_cast<int>(picture.height), 4, VIPS_FORMAT_UCHAR));
    VipsImageRef resized;
    const double scale = static_cast<double>(size) / static_cast<double>(longer);
    if (!image || vips_resize(image.get(), resized.out(), scale, "kernel", vipsKernel(filter),
                              nullptr) != 0) {
        vips_error_clear();
        return std::nullopt;
    }
    std::size_t length = 0;
    const GlibMemory memory(vips_image_write_to_memory(resized.get(), &length));
    Bitmap reduced{vips_image_get_width(resized.get()), vips_image_get_height(resized.get()), {}};
    if (!memory || length != static_cast<std::size_t>(reduced.width * reduced.height * 4)) {
        vips_error_clear();
        return std::nullopt;
    }
    reduced.pixels.resize(length);
    std::memcpy(reduced.pixels.data(), memory.get(), length);
    return reduced;
}

}  // namespace tessel::detail
