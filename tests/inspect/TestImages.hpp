#pragma once
// Images made at test time with libvips, and byte-level edits of them (EXIF blocks, PNG
// chunks, truncation) for the hostile cases.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vips/vips.h>
#include <zlib.h>

#include "vips/Decode.hpp"

namespace tessel::test {

using Bytes = std::vector<std::uint8_t>;

enum class Saver { jpeg, png, gif, webp, tiff };

/// A noisy `width` × `height` × `frames` picture encoded by libvips (frames stacked as pages).
inline Bytes encodeImage(Saver saver, int width, int height, int frames = 1) {
    detail::ensureVipsStarted();
    VipsImage* noise = nullptr;
    VipsImage* image = nullptr;
    if (vips_gaussnoise(&noise, width, height * frames, "mean", 128.0, "sigma", 40.0, nullptr) !=
            0 ||
        vips_cast_uchar(noise, &image, nullptr) != 0) {
        if (noise != nullptr) g_object_unref(noise);
        return {};
    }
    g_object_unref(noise);
    if (frames > 1) vips_image_set_int(image, "page-height", height);
    void* data = nullptr;
    std::size_t size = 0;
    int status = -1;
    switch (saver) {
        case Saver::jpeg: status = vips_jpegsave_buffer(image, &data, &size, nullptr); break;
        case Saver::png: status = vips_pngsave_buffer(image, &data, &size, nullptr); break;
        case Saver::gif: status = vips_gifsave_buffer(image, &data, &size, nullptr); break;
        case Saver::webp: status = vips_webpsave_buffer(image, &data, &size, nullptr); break;
        case Saver::tiff: status = vips_tiffsave_buffer(image, &data, &size, nullptr); break;
    }
    g_object_unref(image);
    if (status != 0) return {};
    const auto* begin = static_cast<const std::uint8_t*>(data);
    Bytes bytes(begin, begin + size);
    g_free(data);
    return bytes;
}

/// A little-endian TIFF structure as EXIF blocks hold it: IFD0 with Model, Orientation and
/// DateTime, and an EXIF IFD with DateTimeOriginal, each only when given.
struct ExifSpec {
    std::optional<std::uint16_t> orientation;
    std::optional<std::string> model;             ///< stored as is, NUL added
    std::optional<std::string> dateTime;          ///< TIFF DateTime (0x0132)
    std::optional<std::string> dateTimeOriginal;  ///< EXIF DateTimeOriginal (0x9003)
};

inline Bytes tiffBlock(const ExifSpec& spec) {
    struct Entry {
        std::uint16_t tag, type;
        std::uint32_t count;
        Bytes value;  // inline when 4 bytes or fewer
    };
    auto ascii = [](std::uint16_t tag, const std::string& text) {
        Bytes value(text.begin(), text.end());
        value.push_back(0);
        return Entry{tag, 2, static_cast<std::uint32_t>(value.size()), value};
    };
    std::vector<Entry> ifd0, exifIfd;
    if (spec.model) ifd0.push_back(ascii(0x0110, *spec.model));
    if (spec.orientation) {
        ifd0.push_back({0x0112,
                        3,
                        1,
                        {static_cast<std::uint8_t>(*spec.orientation & 0xFF),
                         static_cast<std::uint8_t>(*spec.orientation >> 8), 0, 0}});
    }
    if (spec.dateTime) ifd0.push_back(ascii(0x0132, *spec.dateTime));
    if (spec.dateTimeOriginal) exifIfd.push_back(ascii(0x9003, *spec.dateTimeOriginal));
    if (!exifIfd.empty()) ifd0.push_back({0x8769, 4, 1, {0, 0, 0, 0}});

    Bytes out = {'I', 'I', 42, 0, 8, 0, 0, 0};
    auto put16 = [&](std::size_t at, std::uint32_t v) {
        out[at] = static_cast<std::uint8_t>(v);
        out[at + 1] = static_cast<std::uint8_t>(v >> 8);
    };
    auto put32 = [&](std::size_t at, std::uint32_t v) {
        put16(at, v & 0xFFFF);
        put16(at + 2, v >> 16);
    };
    auto writeIfd = [&](const std::vector<Entry>& entries) {
        const std::size_t start = out.size();
        out.resize(start + 2 + entries.size() * 12 + 4, 0);
        put16(start, static_cast<std::uint32_t>(entries.size()));
        std::vector<std::size_t> valueSlots;
        for (std::size_t k = 0; k < entries.size(); ++k) {
            const std::size_t at = start + 2 + k * 12;
            put16(at, entries[k].tag);
            put16(at + 2, entries[k].type);
            put32(at + 4, entries[k].count);
            valueSlots.push_back(at + 8);
        }
        for (std::size_t k = 0; k < entries.size(); ++k) {
            const Bytes& value = entries[k].value;
            if (value.size() <= 4) {
                for (std::size_t b = 0; b < value.size(); ++b) out[valueSlots[k] + b] = value[b];
            } else {
                put32(valueSlots[k], static_cast<std::uint32_t>(out.size()));
                out.insert(out.end(), value.begin(), value.end());
                if (out.size() % 2 != 0) out.push_back(0);
            }
        }
        return valueSlots;
    };
    const auto slots = writeIfd(ifd0);
    if (!exifIfd.empty()) {
        put32(slots.back(), static_cast<std::uint32_t>(out.size()));
        writeIfd(exifIfd);
    }
    return out;
}

/// `jpeg` with an APP1 EXIF segment holding `tiff` right after SOI.
inline Bytes withExif(const Bytes& jpeg, const Bytes& tiff) {
    const std::size_t length = tiff.size() + 8;
    Bytes out;
    out.reserve(jpeg.size() + length + 2);
    for (std::uint8_t byte :
         {std::uint8_t{0xFF}, std::uint8_t{0xD8}, std::uint8_t{0xFF}, std::uint8_t{0xE1},
          static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)}) {
        out.push_back(byte);
    }
    for (char c : std::string_view("Exif\0\0", 6)) out.push_back(static_cast<std::uint8_t>(c));
    for (std::uint8_t byte : tiff) out.push_back(byte);
    for (std::size_t i = 2; i < jpeg.size(); ++i) out.push_back(jpeg[i]);
    return out;
}

/// A PNG chunk with a correct CRC.
inline Bytes pngChunk(std::string_view type, const Bytes& data) {
    const auto length = static_cast<std::uint32_t>(data.size());
    Bytes chunk;
    chunk.reserve(data.size() + 12);
    for (int shift : {24, 16, 8, 0}) chunk.push_back(static_cast<std::uint8_t>(length >> shift));
    for (char c : type) chunk.push_back(static_cast<std::uint8_t>(c));
    for (std::uint8_t byte : data) chunk.push_back(byte);
    const uLong crc = crc32(crc32(0, nullptr, 0), chunk.data() + 4, length + 4);
    for (int shift : {24, 16, 8, 0}) chunk.push_back(static_cast<std::uint8_t>(crc >> shift));
    return chunk;
}

/// Offset of the first chunk of `type` in `png` (its length field).
inline std::size_t findChunk(const Bytes& png, std::string_view type) {
    for (std::size_t i = 8; i + 8 <= png.size();) {
        const std::size_t length = std::size_t{png[i]} << 24 | std::size_t{png[i + 1]} << 16 |
                                   std::size_t{png[i + 2]} << 8 | png[i + 3];
        if (std::string_view(reinterpret_cast<const char*>(png.data() + i + 4), 4) == type) {
            return i;
        }
        i += length + 12;
    }
    return png.size();
}

/// `png` with `chunk` inserted before the first chunk of type `before`.
inline Bytes insertChunk(const Bytes& png, std::string_view before, const Bytes& chunk) {
    Bytes out = png;
    out.insert(out.begin() + static_cast<std::ptrdiff_t>(findChunk(png, before)), chunk.begin(),
               chunk.end());
    return out;
}

inline Bytes actl(std::uint32_t frames) {
    return pngChunk(
        "acTL",
        {static_cast<std::uint8_t>(frames >> 24), static_cast<std::uint8_t>(frames >> 16),
         static_cast<std::uint8_t>(frames >> 8), static_cast<std::uint8_t>(frames), 0, 0, 0, 0});
}

inline void writeFile(const std::filesystem::path& file, const Bytes& bytes) {
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace tessel::test
