#include "decode/DecodeBudget.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "tessel/Inspection.hpp"

#include "decode/DecodeCause.hpp"
#include "decode/Vips.hpp"
#include "formats/exif/ExifReader.hpp"
#include "formats/jpeg/Jpeg.hpp"

namespace tessel {
namespace {

// Two workers decode at once; twice this leaves room for everything else on a 4 GB machine,
// and a 200-megapixel panorama still fits, even as a progressive JPEG without subsampling.
constexpr std::int64_t kDefaultBudget = std::int64_t{3} << 29;  // 1.5 GiB

std::atomic<std::int64_t> budget{kDefaultBudget};

}  // namespace

void TesselRenderer::setDecodingBudget(std::int64_t bytes) {
    budget.store(bytes > 0 ? bytes : kDefaultBudget);
}

std::int64_t TesselRenderer::decodingBudget() { return budget.load(); }

}  // namespace tessel

namespace tessel::detail {
namespace {

constexpr auto kUnknown = std::numeric_limits<std::uint64_t>::max();

// Products of header fields can exceed 64 bits; doubles saturate instead of wrapping.
std::uint64_t bytesOf(double amount) {
    if (!(amount < 1.8e19)) return kUnknown;
    return static_cast<std::uint64_t>(std::ceil(amount));
}

std::string_view loaderOf(VipsImage* header) {
    const char* loader = nullptr;
    if (vips_image_get_typeof(header, "vips-loader") == 0 ||
        vips_image_get_string(header, "vips-loader", &loader) != 0 || loader == nullptr) {
        vips_error_clear();
        return {};
    }
    return loader;
}

bool flagSet(VipsImage* header, const char* name) {
    int value = 0;
    if (vips_image_get_typeof(header, name) == 0) return false;
    if (vips_image_get_int(header, name, &value) != 0) {
        vips_error_clear();
        return false;
    }
    return value != 0;
}

}  // namespace

std::uint64_t loaderBytes(VipsImage* header, const std::filesystem::path& file) {
    const std::string_view loader = loaderOf(header);
    const double width = vips_image_get_width(header);
    const double height = vips_image_get_height(header);
    const double pixels = width * height;
    const double sample = static_cast<double>(vips_format_sizeof(vips_image_get_format(header))) *
                          vips_image_get_bands(header);
    if (loader.starts_with("jpegload")) {
        if (!flagSet(header, "jpeg-multiscan")) return 0;
        const std::optional<JpegDecodingCost> cost = jpegDecodingCost(file);
        return cost ? cost->bytes : kUnknown;
    }
    if (loader.starts_with("pngload"))
        return flagSet(header, "interlaced") ? bytesOf(pixels * sample) : 0;
    // The whole canvas as RGBA, and the frame being composed onto it.
    if (loader.starts_with("gifload")) return bytesOf(pixels * 5);
    // libheif's planes (up to 16 bits a sample) and the interleaved image made from them.
    if (loader.starts_with("heifload")) return bytesOf(pixels * 6);
    if (loader.starts_with("tiffload")) {
        const ExifFacts facts = readImageFile(file);
        if (facts.tiled) return 0;
        const double rows = std::min(
            height,
            static_cast<double>(facts.rowsPerStrip.value_or(static_cast<std::int64_t>(height))));
        return bytesOf(rows * width * sample);
    }
    return 0;
}

bool withinDecodingBudget(std::uint64_t loader, double width, double height,
                          std::int64_t maxPixelSize) {
    const auto budgetBytes = static_cast<std::uint64_t>(TesselRenderer::decodingBudget());
    if (loader > budgetBytes) return false;
    if (maxPixelSize <= 0) return true;
    // The reduced picture in libvips's memory and again as a page bitmap of four bytes a
    // pixel: at most eight bytes for each pixel kept.
    const double scale = std::min(1.0, static_cast<double>(maxPixelSize) / std::max(width, height));
    const std::uint64_t output = bytesOf(width * scale * height * scale * 8);
    return output <= budgetBytes - loader;
}

bool withinDecodingBudget(VipsImage* header, const std::filesystem::path& file,
                          std::int64_t maxPixelSize) {
    return withinDecodingBudget(loaderBytes(header, file), vips_image_get_width(header),
                                vips_image_get_height(header), maxPixelSize);
}

bool withinDecodingBudget(const std::filesystem::path& file, std::int64_t maxPixelSize) {
    // A JPEG is judged from its own frame header: asking libvips for it costs as much as
    // drawing a small picture. libvips's loader reads the same size and the same frame.
    if (const std::optional<JpegDecodingCost> jpeg = jpegDecodingCost(file))
        return withinDecodingBudget(jpeg->bytes, static_cast<double>(jpeg->width),
                                    static_cast<double>(jpeg->height), maxPixelSize);
    // A source rather than a file name: libvips would read "[...]" at the end of a file name
    // as load options.
    const VipsSourceRef source(vips_source_new_from_file(file.c_str()));
    const VipsImageRef header(source ? vips_image_new_from_source(source.get(), "", nullptr)
                                     : nullptr);
    const bool within = header && withinDecodingBudget(header.get(), file, maxPixelSize);
    vips_error_clear();
    return within;
}

std::string budgetCause(double width, double height) {
    const double megapixels = width * height / 1e6;
    if (!(megapixels > 0)) return "The image is too large to decode within the memory budget.";
    std::string amount;
    if (!(megapixels < 1e15)) {
        amount = "far too many";
    } else if (megapixels < 10) {
        const long long tenths = std::llround(megapixels * 10);
        amount = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
    } else {
        // Thousands grouped with commas, a digit at a time.
        const std::string digits = std::to_string(std::llround(megapixels));
        for (std::size_t i = 0; i < digits.size(); ++i) {
            if (i > 0 && (digits.size() - i) % 3 == 0) amount += ',';
            amount += digits[i];
        }
    }
    return "The image is too large to decode within the memory budget (" + amount + " megapixels).";
}

std::string budgetRefusalCause(const std::filesystem::path& file) {
    if (const std::optional<JpegDecodingCost> jpeg = jpegDecodingCost(file))
        return budgetCause(static_cast<double>(jpeg->width), static_cast<double>(jpeg->height));
    const VipsSourceRef source(vips_source_new_from_file(file.c_str()));
    if (!source) return decoderCause();
    if (vips_foreign_find_load_source(source.get()) == nullptr) {
        vips_error_clear();
        return kNotAnImageCause;
    }
    const VipsImageRef header(vips_image_new_from_source(source.get(), "", nullptr));
    if (!header) return decoderCause();
    return budgetCause(vips_image_get_width(header.get()), vips_image_get_height(header.get()));
}

}  // namespace tessel::detail
