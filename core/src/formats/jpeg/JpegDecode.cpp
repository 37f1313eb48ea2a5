#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <jerror.h>
#include <unistd.h>

#include "base/Handle.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/jpeg/Libjpeg.hpp"

namespace tessel::detail {
namespace {

// Any warning ends the decoding as an error does: the caller falls back to a decoder that
// judges damage itself.
void jumpOnWarning(j_common_ptr info, int level) {
    if (level >= 0) return;
    const int code = info->err->msg_code;
    if (info->is_decompressor && reinterpret_cast<j_decompress_ptr>(info)->progressive_mode &&
        (code == JWRN_HIT_MARKER || code == JWRN_JPEG_EOF))
        *static_cast<bool*>(info->client_data) = true;
    jumpOnError(info);
}

class Decompressor {
public:
    explicit Decompressor(bool& cut) {
        info_.err = jumpingErrors(errors_);
        info_.client_data = &cut;
        errors_.base.emit_message = jumpOnWarning;
    }
    ~Decompressor() {
        if (created_) jpeg_destroy_decompress(&info_);
    }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;

    // As in the compressor, only plain locals and members live across the jump.
    bool run(std::FILE* file, int size, ScaledJpeg& out) {
        if (setjmp(errors_.jump) != 0) return false;
        jpeg_create_decompress(&info_);
        created_ = true;
        jpeg_stdio_src(&info_, file);
        jpeg_save_markers(&info_, JPEG_APP0 + 1, 0xFFFF);
        jpeg_save_markers(&info_, JPEG_APP0 + 2, 0xFFFF);
        jpeg_read_header(&info_, TRUE);
        if (info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK) return false;
        info_.out_color_space = info_.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;

        const auto longer = std::max(info_.image_width, info_.image_height);
        unsigned denominator = 1;
        while (denominator < 8 && longer / (denominator * 2) >= static_cast<unsigned>(size))
            denominator *= 2;
        info_.scale_num = 1;
        info_.scale_denom = denominator;
        info_.do_fancy_upsampling = FALSE;

        for (jpeg_saved_marker_ptr marker = info_.marker_list; marker; marker = marker->next) {
            static constexpr char exifHeader[] = {'E', 'x', 'i', 'f', '\0', '\0'};
            if (marker->marker == JPEG_APP0 + 1 && out.exif.empty() &&
                marker->data_length > sizeof exifHeader &&
                std::memcmp(marker->data, exifHeader, sizeof exifHeader) == 0)
                out.exif.assign(marker->data, marker->data + marker->data_length);
        }
        JOCTET* profile = nullptr;
        unsigned int profileLength = 0;
        if (jpeg_read_icc_profile(&info_, &profile, &profileLength) && profile) {
            out.icc.assign(profile, profile + profileLength);
            std::free(profile);
        }

        jpeg_start_decompress(&info_);
        out.width = info_.output_width;
        out.height = info_.output_height;
        out.components = info_.output_components;
        const auto rowBytes =
            static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.components);
        out.pixels.reset(static_cast<std::uint8_t*>(
            std::malloc(rowBytes * static_cast<std::size_t>(out.height))));
        if (!out.pixels) return false;
        while (info_.output_scanline < info_.output_height) {
            JSAMPROW row = out.pixels.get() + rowBytes * info_.output_scanline;
            jpeg_read_scanlines(&info_, &row, 1);
        }
        jpeg_finish_decompress(&info_);
        return true;
    }

private:
    jpeg_decompress_struct info_{};
    JpegErrorManager errors_{};
    bool created_ = false;
};

}  // namespace

std::optional<ScaledJpeg> decodeScaledJPEG(const std::filesystem::path& file, int size, bool& cut) {
    cut = false;
    const StdioFile stream(std::fopen(file.c_str(), "rbe"));
    if (!stream) return std::nullopt;
    // Anything but a JPEG is turned away before a buffer's worth of it is read; pread leaves
    // the stream untouched, so its buffer can still be set below.
    unsigned char magic[2] = {};
    if (::pread(::fileno(stream.get()), magic, 2, 0) != 2 || magic[0] != 0xFF || magic[1] != 0xD8)
        return std::nullopt;
    // libjpeg asks for 4 KB at a time; a larger buffer saves most of the system calls.
    std::setvbuf(stream.get(), nullptr, _IOFBF, std::size_t{256} * 1024);
    ScaledJpeg out;
    Decompressor decompressor(cut);
    if (!decompressor.run(stream.get(), std::max(size, 1), out) || out.width < 1 ||
        out.height < 1 || (out.components != 1 && out.components != 3))
        return std::nullopt;
    return out;
}

}  // namespace tessel::detail
