#include "DngWriter.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <jpeglib.h>

namespace tessel::testing {
namespace {

// TIFF field types.
constexpr std::uint16_t kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7,
                        kSignedRational = 10;

// One directory entry: its values as little-endian bytes, or offsets still to be learnt (of a
// block of data, or of other directories).
struct Field {
    std::uint16_t tag = 0;
    std::uint16_t type = kLong;
    std::uint32_t count = 0;
    std::vector<std::uint8_t> bytes;
    int block = -1;                // the value is this block's offset
    std::vector<int> directories;  // the values are these directories' offsets
};

void put16(std::vector<std::uint8_t>& out, std::uint32_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void put32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    put16(out, value & 0xFFFF);
    put16(out, value >> 16);
}

void set32(std::vector<std::uint8_t>& out, std::size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
}

Field shorts(std::uint16_t tag, std::vector<std::uint32_t> values) {
    Field field{tag, kShort, static_cast<std::uint32_t>(values.size()), {}, -1, {}};
    for (std::uint32_t value : values) put16(field.bytes, value);
    return field;
}

Field longs(std::uint16_t tag, std::vector<std::uint32_t> values) {
    Field field{tag, kLong, static_cast<std::uint32_t>(values.size()), {}, -1, {}};
    for (std::uint32_t value : values) put32(field.bytes, value);
    return field;
}

Field bytesOf(std::uint16_t tag, std::uint16_t type, std::vector<std::uint8_t> values) {
    return {tag, type, static_cast<std::uint32_t>(values.size()), std::move(values), -1, {}};
}

Field ascii(std::uint16_t tag, const std::string& text) {
    std::vector<std::uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytesOf(tag, kAscii, std::move(bytes));
}

// Rationals over a denominator of 10,000.
Field rationals(std::uint16_t tag, bool isSigned, const std::vector<double>& values) {
    Field field{tag,
                isSigned ? kSignedRational : kRational,
                static_cast<std::uint32_t>(values.size()),
                {},
                -1,
                {}};
    for (double value : values) {
        put32(field.bytes,
              static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(value * 10000))));
        put32(field.bytes, 10000);
    }
    return field;
}

Field blockOffset(std::uint16_t tag, int block) { return {tag, kLong, 1, {0, 0, 0, 0}, block, {}}; }

Field directoryOffsets(std::uint16_t tag, std::vector<int> directories) {
    Field field{tag, kLong, static_cast<std::uint32_t>(directories.size()),
                {},  -1,    std::move(directories)};
    field.bytes.resize(field.count * 4);
    return field;
}

// Directories, each written with its values beyond four bytes right after it, then the blocks
// of image data. Directories may point at each other; the first is IFD0.
class TiffFile {
public:
    int addDirectory() {
        directories_.emplace_back();
        return static_cast<int>(directories_.size()) - 1;
    }
    void add(int directory, Field field) {
        directories_[static_cast<std::size_t>(directory)].push_back(std::move(field));
    }
    int addBlock(std::vector<std::uint8_t> bytes) {
        blocks_.push_back(std::move(bytes));
        return static_cast<int>(blocks_.size()) - 1;
    }

    std::vector<std::uint8_t> bytes() {
        std::vector<std::uint32_t> directoryAt, blockAt;
        std::uint32_t at = 8;
        for (auto& fields : directories_) {
            std::ranges::sort(fields, {}, &Field::tag);
            directoryAt.push_back(at);
            at += 2 + 12 * static_cast<std::uint32_t>(fields.size()) + 4;
            for (const Field& field : fields)
                if (field.bytes.size() > 4)
                    at += static_cast<std::uint32_t>((field.bytes.size() + 1) & ~std::size_t{1});
        }
        for (const auto& block : blocks_) {
            blockAt.push_back(at);
            at += static_cast<std::uint32_t>((block.size() + 1) & ~std::size_t{1});
        }
        std::vector<std::uint8_t> out{'I', 'I', 42, 0};
        put32(out, directoryAt.front());
        for (std::size_t d = 0; d < directories_.size(); ++d) {
            auto& fields = directories_[d];
            for (Field& field : fields) {
                if (field.block >= 0)
                    set32(field.bytes, 0, blockAt[static_cast<std::size_t>(field.block)]);
                for (std::size_t i = 0; i < field.directories.size(); ++i)
                    set32(field.bytes, i * 4,
                          directoryAt[static_cast<std::size_t>(field.directories[i])]);
            }
            put16(out, static_cast<std::uint32_t>(fields.size()));
            std::uint32_t values =
                directoryAt[d] + 2 + 12 * static_cast<std::uint32_t>(fields.size()) + 4;
            for (const Field& field : fields) {
                put16(out, field.tag);
                put16(out, field.type);
                put32(out, field.count);
                if (field.bytes.size() <= 4) {
                    std::array<std::uint8_t, 4> inline_{};
                    std::ranges::copy(field.bytes, inline_.begin());
                    out.insert(out.end(), inline_.begin(), inline_.end());
                } else {
                    put32(out, values);
                    values +=
                        static_cast<std::uint32_t>((field.bytes.size() + 1) & ~std::size_t{1});
                }
            }
            put32(out, 0);  // no next directory
            for (const Field& field : fields) {
                if (field.bytes.size() <= 4) continue;
                out.insert(out.end(), field.bytes.begin(), field.bytes.end());
                if (field.bytes.size() % 2 != 0) out.push_back(0);
            }
        }
        for (const auto& block : blocks_) {
            out.insert(out.end(), block.begin(), block.end());
            if (block.size() % 2 != 0) out.push_back(0);
        }
        return out;
    }

private:
    std::vector<std::vector<Field>> directories_;
    std::vector<std::vector<std::uint8_t>> blocks_;
};

double linear(std::uint8_t sample) {
    const double c = sample / 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

// sRGB to Adobe RGB (1998) through XYZ (D65), each step as its standard writes it.
RgbPicture inAdobeRgb(const RgbPicture& picture) {
    constexpr double toXyz[3][3] = {{0.4124564, 0.3575761, 0.1804375},
                                    {0.2126729, 0.7151522, 0.0721750},
                                    {0.0193339, 0.1191920, 0.9503041}};
    constexpr double toAdobe[3][3] = {{2.0413690, -0.5649464, -0.3446944},
                                      {-0.9692660, 1.8760108, 0.0415560},
                                      {0.0134474, -0.1183897, 1.0154096}};
    RgbPicture out = picture;
    for (std::size_t i = 0; i + 2 < picture.rgb.size(); i += 3) {
        const double rgb[3] = {linear(picture.rgb[i]), linear(picture.rgb[i + 1]),
                               linear(picture.rgb[i + 2])};
        double xyz[3] = {};
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) xyz[r] += toXyz[r][c] * rgb[c];
        for (int r = 0; r < 3; ++r) {
            double value = 0;
            for (int c = 0; c < 3; ++c) value += toAdobe[r][c] * xyz[c];
            value = std::pow(std::clamp(value, 0.0, 1.0), 256.0 / 563.0);
            out.rgb[i + static_cast<std::size_t>(r)] =
                static_cast<std::uint8_t>(std::lround(value * 255));
        }
    }
    return out;
}

struct JpegErrors {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

[[noreturn]] void jumpOnError(j_common_ptr info) {
    std::longjmp(reinterpret_cast<JpegErrors*>(info->err)->jump, 1);
}

}  // namespace

RgbPicture reducedPicture(const RgbPicture& picture, int longer) {
    const double scale =
        std::min(1.0, static_cast<double>(longer) / std::max(picture.width, picture.height));
    RgbPicture out{std::max(1, static_cast<int>(std::lround(picture.width * scale))),
                   std::max(1, static_cast<int>(std::lround(picture.height * scale))),
                   {}};
    out.rgb.resize(static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.height) * 3);
    for (int y = 0; y < out.height; ++y) {
        const int top = y * picture.height / out.height;
        const int bottom = std::max(top + 1, (y + 1) * picture.height / out.height);
        for (int x = 0; x < out.width; ++x) {
            const int left = x * picture.width / out.width;
            const int right = std::max(left + 1, (x + 1) * picture.width / out.width);
            for (int c = 0; c < 3; ++c) {
                long sum = 0;
                for (int sy = top; sy < bottom; ++sy)
                    for (int sx = left; sx < right; ++sx)
                        sum += picture.rgb[(static_cast<std::size_t>(sy) *
                                                static_cast<std::size_t>(picture.width) +
                                            static_cast<std::size_t>(sx)) *
                                               3 +
                                           static_cast<std::size_t>(c)];
                const long count = static_cast<long>(bottom - top) * (right - left);
                out.rgb[(static_cast<std::size_t>(y) * static_cast<std::size_t>(out.width) +
                         static_cast<std::size_t>(x)) *
                            3 +
                        static_cast<std::size_t>(c)] =
                    static_cast<std::uint8_t>((sum + count / 2) / count);
            }
        }
    }
    return out;
}

std::vector<std::uint8_t> encodeJpeg(const RgbPicture& picture, int quality) {
    jpeg_compress_struct info{};
    JpegErrors errors{};
    info.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = jumpOnError;
    unsigned char* buffer = nullptr;
    unsigned long length = 0;
    if (setjmp(errors.jump) != 0) {
        jpeg_destroy_compress(&info);
        std::free(buffer);
        throw std::runtime_error("JPEG encoding failed");
    }
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &buffer, &length);
    info.image_width = static_cast<JDIMENSION>(picture.width);
    info.image_height = static_cast<JDIMENSION>(picture.height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto* row = const_cast<JSAMPLE*>(picture.rgb.data() +
                                         static_cast<std::size_t>(info.next_scanline) *
                                             static_cast<std::size_t>(picture.width) * 3);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::vector<std::uint8_t> bytes(buffer, buffer + length);
    std::free(buffer);
    return bytes;
}

RgbPicture decodeJpegFile(const std::filesystem::path& file) {
    std::FILE* in = std::fopen(file.c_str(), "rb");
    if (!in) throw std::runtime_error("cannot open " + file.string());
    jpeg_decompress_struct info{};
    JpegErrors errors{};
    info.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = jumpOnError;
    RgbPicture picture;
    if (setjmp(errors.jump) != 0) {
        jpeg_destroy_decompress(&info);
        std::fclose(in);
        throw std::runtime_error("cannot decode " + file.string());
    }
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, in);
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    picture.width = static_cast<int>(info.output_width);
    picture.height = static_cast<int>(info.output_height);
    picture.rgb.resize(static_cast<std::size_t>(picture.width) *
                       static_cast<std::size_t>(picture.height) * 3);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = picture.rgb.data() + static_cast<std::size_t>(info.output_scanline) *
                                                static_cast<std::size_t>(picture.width) * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    std::fclose(in);
    return picture;
}

std::vector<std::uint8_t> makeDng(const RgbPicture& picture, const DngOptions& options) {
    // The sensor: an RGGB mosaic of the picture's linear light, whole 2 × 2 blocks.
    const int width = picture.width & ~1;
    const int height = picture.height & ~1;
    const bool wide = options.bitsPerSample == 16;
    const std::uint32_t white = wide ? 65535 : 255;
    std::vector<double> curve(256);
    for (int i = 0; i < 256; ++i)
        curve[static_cast<std::size_t>(i)] = linear(static_cast<std::uint8_t>(i));
    std::vector<std::uint8_t> sensor;
    sensor.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                   (wide ? 2 : 1));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int channel = (y % 2) + (x % 2);  // 0 red, 1 green, 2 blue
            const std::uint8_t sample =
                picture.rgb[(static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                             static_cast<std::size_t>(x)) *
                                3 +
                            static_cast<std::size_t>(channel)];
            const auto value = static_cast<std::uint32_t>(std::lround(curve[sample] * white));
            if (wide)
                put16(sensor, value);
            else
                sensor.push_back(static_cast<std::uint8_t>(value));
        }
    }

    TiffFile tiff;
    const int ifd0 = tiff.addDirectory();
    const auto image = [&](int directory, std::uint32_t subfileType, const RgbPicture& rgb) {
        tiff.add(directory, longs(0x00FE, {subfileType}));
        tiff.add(directory, longs(0x0100, {static_cast<std::uint32_t>(rgb.width)}));
        tiff.add(directory, longs(0x0101, {static_cast<std::uint32_t>(rgb.height)}));
        tiff.add(directory, shorts(0x0102, {8, 8, 8}));
        tiff.add(directory, shorts(0x0115, {3}));
        tiff.add(directory, longs(0x0116, {static_cast<std::uint32_t>(rgb.height)}));
        tiff.add(directory, shorts(0x011C, {1}));
    };
    const int raw = options.thumbnailLonger > 0 ? tiff.addDirectory() : ifd0;
    std::vector<int> subDirectories;
    if (options.thumbnailLonger > 0) {
        const RgbPicture thumbnail = reducedPicture(picture, options.thumbnailLonger);
        image(ifd0, 1, thumbnail);
        tiff.add(ifd0, shorts(0x0103, {1}));
        tiff.add(ifd0, shorts(0x0106, {2}));
        tiff.add(ifd0, blockOffset(0x0111, tiff.addBlock(thumbnail.rgb)));
        tiff.add(ifd0, longs(0x0117, {static_cast<std::uint32_t>(thumbnail.rgb.size())}));
        subDirectories.push_back(raw);
    }
    tiff.add(raw, longs(0x00FE, {0}));
    tiff.add(raw, longs(0x0100, {static_cast<std::uint32_t>(width)}));
    tiff.add(raw, longs(0x0101, {static_cast<std::uint32_t>(height)}));
    tiff.add(raw, shorts(0x0102, {static_cast<std::uint32_t>(options.bitsPerSample)}));
    tiff.add(raw, shorts(0x0103, {1}));
    tiff.add(raw, shorts(0x0106, {32803}));  // colour filter array
    const auto sensorBytes = static_cast<std::uint32_t>(sensor.size());
    tiff.add(raw, blockOffset(0x0111, tiff.addBlock(std::move(sensor))));
    tiff.add(raw, shorts(0x0115, {1}));
    tiff.add(raw, longs(0x0116, {static_cast<std::uint32_t>(height)}));
    tiff.add(raw, longs(0x0117, {sensorBytes}));
    tiff.add(raw, shorts(0x011C, {1}));
    tiff.add(raw, shorts(0x828D, {2, 2}));
    tiff.add(raw, bytesOf(0x828E, kByte, {0, 1, 1, 2}));
    tiff.add(raw, longs(0xC61D, {white}));

    if (options.previewLonger > 0) {
        RgbPicture preview =
            reducedPicture(options.previewSource.value_or(picture), options.previewLonger);
        if (options.adobeRgbPreview) preview = inAdobeRgb(preview);
        std::vector<std::uint8_t> jpeg = encodeJpeg(preview, options.jpegQuality);
        const int directory = tiff.addDirectory();
        image(directory, 1, preview);
        tiff.add(directory, shorts(0x0103, {7}));  // JPEG
        tiff.add(directory, shorts(0x0106, {6}));  // YCbCr
        tiff.add(directory, longs(0x0117, {static_cast<std::uint32_t>(jpeg.size())}));
        tiff.add(directory, blockOffset(0x0111, tiff.addBlock(std::move(jpeg))));
        subDirectories.push_back(directory);
    }

    const int exif = tiff.addDirectory();
    tiff.add(exif, ascii(0x9003, options.dateTimeOriginal));
    tiff.add(exif, shorts(0xA001, {options.adobeRgbPreview ? 0xFFFFu : 1u}));
    const int interoperability = tiff.addDirectory();
    tiff.add(interoperability, ascii(0x0001, options.adobeRgbPreview ? "R03" : "R98"));
    tiff.add(interoperability, bytesOf(0x0002, kUndefined, {'0', '1', '0', '0'}));
    tiff.add(exif, directoryOffsets(0xA005, {interoperability}));

    tiff.add(ifd0, ascii(0x010F, options.make));
    tiff.add(ifd0, ascii(0x0110, options.model));
    tiff.add(ifd0, shorts(0x0112, {static_cast<std::uint32_t>(options.orientation)}));
    if (!subDirectories.empty()) tiff.add(ifd0, directoryOffsets(0x014A, subDirectories));
    tiff.add(ifd0, directoryOffsets(0x8769, {exif}));
    tiff.add(ifd0, bytesOf(0xC612, kByte, {1, 4, 0, 0}));
    tiff.add(ifd0, bytesOf(0xC613, kByte, {1, 1, 0, 0}));
    tiff.add(ifd0, ascii(0xC614, options.make + " " + options.model));
    // XYZ to the camera's colours, which are linear sRGB: sRGB's own matrix, under D65.
    tiff.add(ifd0, rationals(0xC621, true,
                             {3.2404542, -1.5371385, -0.4985314, -0.9692660, 1.8760108, 0.0415560,
                              0.0556434, -0.2040259, 1.0572252}));
    tiff.add(ifd0, rationals(0xC628, false, {1, 1, 1}));
    tiff.add(ifd0, shorts(0xC65A, {21}));
    return tiff.bytes();
}

void writeDng(const std::filesystem::path& file, const RgbPicture& picture,
              const DngOptions& options) {
    const std::vector<std::uint8_t> bytes = makeDng(picture, options);
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + file.string());
}

}  // namespace tessel::testing
