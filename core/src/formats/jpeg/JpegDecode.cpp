#include "formats/jpeg/Jpeg.hpp"

// jpeglib.h needs size_t and FILE declared before it.
#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <jpeglib.h>
#include <unistd.h>

namespace tessel::detail {
namespace {

// libjpeg's default error handler ends the process; this one jumps back to the encoder.
struct JpegErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

[[noreturn]] void jumpOnError(j_common_ptr info) {
    std::longjmp(reinterpret_cast<JpegErrorManager*>(info->err)->jump, 1);
}

void ignoreMessage(j_common_ptr) {}

// libjpeg allocates the output with malloc and grows it itself.
struct MemoryDestination {
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    ~MemoryDestination() { std::free(bytes); }
};

// The compressor is owned by this type so it is destroyed on every path, jumps included.
class Compressor {
public:
    Compressor() {
        info_.err = jpeg_std_error(&errors_.base);
        errors_.base.error_exit = jumpOnError;
        errors_.base.output_message = ignoreMessage;
    }
    ~Compressor() {
        if (created_) jpeg_destroy_compress(&info_);
    }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    // Holds only plain locals, so leaving it by longjmp skips no destructor.
    bool run(JDIMENSION width, JDIMENSION height, int quality, const JpegRowSource& rows,
             MemoryDestination& out, std::vector<std::uint8_t>& row) {
        if (setjmp(errors_.jump) != 0) return false;
        jpeg_create_compress(&info_);
        created_ = true;
        jpeg_mem_dest(&info_, &out.bytes, &out.size);
        info_.image_width = width;
        info_.image_height = height;
        info_.input_components = 3;
        info_.in_color_space = JCS_RGB;
        jpeg_set_defaults(&info_);
        jpeg_set_quality(&info_, quality, TRUE);
        info_.optimize_coding = TRUE;
        jpeg_start_compress(&info_, TRUE);
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

// Any warning ends the decoding as an error does: the caller falls back to a decoder that
// judges damage itself.
void jumpOnWarning(j_common_ptr info, int level) {
    if (level < 0) jumpOnError(info);
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

class Decompressor {
public:
    Decompressor() {
        info_.err = jpeg_std_error(&errors_.base);
        errors_.base.error_exit = jumpOnError;
        errors_.base.emit_message = jumpOnWarning;
        errors_.base.output_message = ignoreMessage;
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

bool isHuffmanFrame(std::uint8_t marker) {
    return marker == 0xC0 || marker == 0xC1 || marker == 0xC2;
}

bool isOtherFrame(std::uint8_t marker) {
    return marker >= 0xC3 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

}  // namespace

int jpegQualityScale(double quality) {
    if (!(quality > 0)) return 1;  // NaN as well
    if (quality >= 1) return 100;
    const long scaled = std::lround(quality * 100);
    return scaled < 1 ? 1 : static_cast<int>(scaled);
}

std::optional<std::vector<std::uint8_t>> encodeJPEG(std::int64_t width, std::int64_t height,
                                                    int quality, const JpegRowSource& rows) {
    if (width < 1 || height < 1 || width > JPEG_MAX_DIMENSION || height > JPEG_MAX_DIMENSION)
        return std::nullopt;
    MemoryDestination out;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(width * 3));
    Compressor compressor;
    if (!compressor.run(static_cast<JDIMENSION>(width), static_cast<JDIMENSION>(height), quality,
                        rows, out, row) ||
        out.bytes == nullptr)
        return std::nullopt;
    return std::vector<std::uint8_t>(out.bytes, out.bytes + out.size);
}

std::optional<ScaledJpeg> decodeScaledJPEG(const std::filesystem::path& file, int size) {
    const std::unique_ptr<std::FILE, FileCloser> stream(std::fopen(file.c_str(), "rbe"));
    if (!stream) return std::nullopt;
    // Anything but a JPEG is turned away before a buffer's worth of it is read; pread leaves
    // the stream untouched, so its buffer can still be set below.
    unsigned char magic[2] = {};
    if (::pread(::fileno(stream.get()), magic, 2, 0) != 2 || magic[0] != 0xFF || magic[1] != 0xD8)
        return std::nullopt;
    // libjpeg asks for 4 KB at a time; a larger buffer saves most of the system calls.
    std::setvbuf(stream.get(), nullptr, _IOFBF, 256 * 1024);
    ScaledJpeg out;
    Decompressor decompressor;
    if (!decompressor.run(stream.get(), std::max(size, 1), out) || out.width < 1 ||
        out.height < 1 || (out.components != 1 && out.components != 3))
        return std::nullopt;
    return out;
}

std::optional<JpegFrame> readJPEGFrame(std::span<const std::uint8_t> jpeg) {
    if (jpeg.size() < 4 || jpeg[0] != 0xFF || jpeg[1] != 0xD8) return std::nullopt;
    std::size_t at = 2;
    while (at + 4 <= jpeg.size()) {
        if (jpeg[at] != 0xFF) return std::nullopt;
        const std::uint8_t marker = jpeg[at + 1];
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        if (marker == 0xD9 || marker == 0xDA) return std::nullopt;  // no frame before the scan
        const std::size_t length = std::size_t{jpeg[at + 2]} << 8 | jpeg[at + 3];
        if (length < 2 || length > jpeg.size() - at - 2) return std::nullopt;
        if (isOtherFrame(marker)) return std::nullopt;
        if (isHuffmanFrame(marker)) {
            if (length < 8) return std::nullopt;
            const std::uint8_t* frame = jpeg.data() + at + 4;
            if (frame[0] != 8) return std::nullopt;  // sample precision
            JpegFrame result;
            result.height = std::int64_t{frame[1]} << 8 | frame[2];
            result.width = std::int64_t{frame[3]} << 8 | frame[4];
            result.components = frame[5];
            if (result.width < 1 || result.height < 1) return std::nullopt;
            return result;
        }
        at += 2 + length;
    }
    return std::nullopt;
}

}  // namespace tessel::detail
