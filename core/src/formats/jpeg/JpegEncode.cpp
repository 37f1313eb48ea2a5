#include <cmath>
#include <vector>

#include "base/Handle.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/jpeg/Libjpeg.hpp"

namespace tessel::detail {
namespace {

// libjpeg allocates the output with malloc and grows it itself.
struct MemoryDestination {
    MallocPointer<unsigned char> bytes;
    unsigned long size = 0;
};

// The compressor is owned by this type so it is destroyed on every path, jumps included.
class Compressor {
public:
    Compressor() { info_.err = jumpingErrors(errors_); }
    ~Compressor() {
        if (created_) jpeg_destroy_compress(&info_);
    }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    // Holds only plain locals, so leaving it by longjmp skips no destructor.
    bool run(JDIMENSION width, JDIMENSION height, int quality, const JpegRowSource& rows,
             const JpegTags& tags, MemoryDestination& out, std::vector<std::uint8_t>& row) {
        if (setjmp(errors_.jump) != 0) return false;
        jpeg_create_compress(&info_);
        created_ = true;
        jpeg_mem_dest(&info_, out.bytes.out(), &out.size);
        info_.image_width = width;
        info_.image_height = height;
        info_.input_components = 3;
        info_.in_color_space = JCS_RGB;
        jpeg_set_defaults(&info_);
        jpeg_set_quality(&info_, quality, TRUE);
        info_.optimize_coding = TRUE;
        if (tags.pixelsPerInch > 0) {
            constexpr UINT8 dotsPerInch = 1;
            info_.density_unit = dotsPerInch;
            info_.X_density = static_cast<UINT16>(tags.pixelsPerInch);
            info_.Y_density = static_cast<UINT16>(tags.pixelsPerInch);
        }
        jpeg_start_compress(&info_, TRUE);
        if (!tags.iccProfile.empty())
            jpeg_write_icc_profile(&info_, tags.iccProfile.data(),
                                   static_cast<unsigned int>(tags.iccProfile.size()));
        while (info_.next_scanline < info_.image_height) {
            rows(info_.next_scanline, row.data());
            JSAMPROW pointer = row.data();
            jpeg_write_scanlines(&info_, &pointer, 1);
        }
        jpeg_finish_compress(&info_);
        return true;
    }

private:
    jpeg_compress_struct info_{};
    JpegErrorManager errors_{};
    bool created_ = false;
};

}  // namespace

int jpegQualityScale(double quality) {
    if (!(quality > 0)) return 1;  // NaN as well
    if (quality >= 1) return 100;
    const long scaled = std::lround(quality * 100);
    return scaled < 1 ? 1 : static_cast<int>(scaled);
}

std::optional<std::vector<std::uint8_t>> encodeJPEG(std::int64_t width, std::int64_t height,
                                                    int quality, const JpegRowSource& rows,
                                                    const JpegTags& tags) {
    constexpr std::int64_t largestDensity = 65535;
    if (width < 1 || height < 1 || width > JPEG_MAX_DIMENSION || height > JPEG_MAX_DIMENSION ||
        tags.pixelsPerInch > largestDensity)
        return std::nullopt;
    MemoryDestination out;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(width * 3));
    Compressor compressor;
    if (!compressor.run(static_cast<JDIMENSION>(width), static_cast<JDIMENSION>(height), quality,
                        rows, tags, out, row) ||
        !out.bytes)
        return std::nullopt;
    return std::vector<std::uint8_t>(out.bytes.get(), out.bytes.get() + out.size);
}

}  // namespace tessel::detail
