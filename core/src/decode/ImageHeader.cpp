#include "decode/ImageHeader.hpp"

#include "decode/Decode.hpp"
#include "decode/Vips.hpp"

namespace tessel::detail {

std::optional<WrittenImageHeader> readWrittenImageHeader(const std::filesystem::path& file) {
    ensureVipsStarted();
    const VipsImageRef image(
        vips_image_new_from_file(file.c_str(), "access", VIPS_ACCESS_SEQUENTIAL, nullptr));
    if (!image) {
        vips_error_clear();
        return std::nullopt;
    }
    return WrittenImageHeader{vips_image_get_width(image.get()), vips_image_get_height(image.get()),
                              vips_image_get_n_pages(image.get())};
}

}  // namespace tessel::detail
