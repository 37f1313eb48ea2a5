#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

#include <fcntl.h>
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

// Feeds libjpeg in large pieces: from a file descriptor in large reads, or from memory. libjpeg-
// turbo decodes a block with its fast Huffman path only while the whole block's worst case is
// already in the buffer: with the 4 KB buffer of the stdio source that holds for about a
// quarter of a camera JPEG's blocks, with this one for nearly all of them (about a tenth less
// decoding time). The stop is looked at before every piece.
class ChunkSource {
public:
    /// From an open file.
    ChunkSource(int descriptor, const std::atomic<bool>* stop)
        : descriptor_(descriptor), stop_(stop) {
        buffer_ = std::make_unique_for_overwrite<JOCTET[]>(kChunkSize);
        init();
    }
    /// From memory, which must outlive the decoding.
    ChunkSource(std::span<const std::uint8_t> bytes, const std::atomic<bool>* stop)
        : bytes_(bytes), stop_(stop) {
        init();
    }
    ChunkSource(const ChunkSource&) = delete;
    ChunkSource& operator=(const ChunkSource&) = delete;

    jpeg_source_mgr* manager() { return &manager_; }
    /// True when the decoding was given up because its stop was raised.
    bool stopped() const { return stopped_; }

private:
    static constexpr std::size_t kChunkSize = std::size_t{256} * 1024;
    static constexpr JOCTET kEndOfImage[2] = {0xFF, JPEG_EOI};

    void init() {
        manager_.init_source = [](j_decompress_ptr) {};
        manager_.fill_input_buffer = fill;
        manager_.skip_input_data = skip;
        manager_.resync_to_restart = jpeg_resync_to_restart;
        manager_.term_source = [](j_decompress_ptr) {};
    }

    static ChunkSource& of(j_decompress_ptr info) {
        // The manager is the first member, so its address is the source's.
        return *reinterpret_cast<ChunkSource*>(info->src);
    }

    // The next piece: read from the file, or the next stretch of memory. Negative on a read
    // error, 0 at the end.
    ssize_t nextPiece(const JOCTET*& piece) {
        if (!buffer_) {
            const std::size_t count = std::min(kChunkSize, bytes_.size());
            piece = bytes_.data();
            bytes_ = bytes_.subspan(count);
            return static_cast<ssize_t>(count);
        }
        ssize_t got = 0;
        do {
            got = ::read(descriptor_, buffer_.get(), kChunkSize);
        } while (got < 0 && errno == EINTR);
        piece = buffer_.get();
        return got;
    }

    // As libjpeg's own sources do: an empty stream is an error, one that ends early gets a
    // warning (which the caller turns into a failure) and a made-up end-of-image marker.
    static boolean fill(j_decompress_ptr info) {
        ChunkSource& source = of(info);
        if (source.stop_ && source.stop_->load(std::memory_order_relaxed)) {
            source.stopped_ = true;
            ERREXIT(info, JERR_FILE_READ);
        }
        const JOCTET* piece = nullptr;
        ssize_t got = source.nextPiece(piece);
        if (got < 0) ERREXIT(info, JERR_FILE_READ);
        if (got == 0) {
            if (!source.started_) ERREXIT(info, JERR_INPUT_EMPTY);
            WARNMS(info, JWRN_JPEG_EOF);
            piece = kEndOfImage;
            got = 2;
        }
        source.started_ = true;
        source.manager_.next_input_byte = piece;
        source.manager_.bytes_in_buffer = static_cast<std::size_t>(got);
        return TRUE;
    }

    static void skip(j_decompress_ptr info, long count) {
        if (count <= 0) return;
        jpeg_source_mgr& manager = of(info).manager_;
        auto left = static_cast<std::size_t>(count);
        while (left > manager.bytes_in_buffer) {
            left -= manager.bytes_in_buffer;
            fill(info);
        }
        manager.next_input_byte += left;
        manager.bytes_in_buffer -= left;
    }

    jpeg_source_mgr manager_{};
    int descriptor_ = -1;
    std::span<const std::uint8_t> bytes_;
    const std::atomic<bool>* stop_;
    bool started_ = false;
    bool stopped_ = false;
    std::unique_ptr<JOCTET[]> buffer_;
};

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
    bool run(ChunkSource& source, int size, ScaledJpeg& out) {
        if (setjmp(errors_.jump) != 0) return false;
        jpeg_create_decompress(&info_);
        created_ = true;
        info_.src = source.manager();
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

namespace {

std::optional<ScaledJpeg> decodeFrom(ChunkSource& source, int size, bool& cut) {
    ScaledJpeg out;
    Decompressor decompressor(cut);
    const bool decoded = decompressor.run(source, std::max(size, 1), out);
    // Nobody waits for a picture given up: no other decoder should take it up either.
    if (source.stopped()) cut = true;
    if (!decoded || out.width < 1 || out.height < 1 || (out.components != 1 && out.components != 3))
        return std::nullopt;
    return out;
}

}  // namespace

std::optional<ScaledJpeg> decodeScaledJPEG(const std::filesystem::path& file, int size, bool& cut,
                                           const std::atomic<bool>* stop) {
    cut = false;
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor) return std::nullopt;
    // Anything but a JPEG is turned away before a buffer's worth of it is read.
    unsigned char magic[2] = {};
    if (::pread(descriptor.get(), magic, 2, 0) != 2 || magic[0] != 0xFF || magic[1] != 0xD8)
        return std::nullopt;
    ChunkSource source(descriptor.get(), stop);
    return decodeFrom(source, size, cut);
}

std::optional<ScaledJpeg> decodeScaledJPEG(std::span<const std::uint8_t> jpeg, int size, bool& cut,
                                           const std::atomic<bool>* stop) {
    cut = false;
    if (jpeg.size() < 2 || jpeg[0] != 0xFF || jpeg[1] != 0xD8) return std::nullopt;
    ChunkSource source(jpeg, stop);
    return decodeFrom(source, size, cut);
}

}  // namespace tessel::detail
