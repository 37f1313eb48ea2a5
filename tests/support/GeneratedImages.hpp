#pragma once
// Image files made by libvips for tests, and pixel reading of page bitmaps.

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vips/vips.h>

#include "TemporaryFolder.hpp"
#include "base/Bitmap.hpp"

namespace tessel::testing {

/// Owns a VipsImage while a test builds an image.
class TestImage {
public:
    explicit TestImage(VipsImage* image) : image_(image) {
        if (!image_) throw std::runtime_error(vips_error_buffer());
    }
    TestImage(TestImage&& other) noexcept : image_(std::exchange(other.image_, nullptr)) {}
    TestImage(const TestImage&) = delete;
    TestImage& operator=(const TestImage&) = delete;
    ~TestImage() {
        if (image_) g_object_unref(image_);
    }
    VipsImage* get() const { return image_; }

private:
    VipsImage* image_;
};

inline void startVips() {
    static const bool started = VIPS_INIT("tessel-tests") == 0;
    if (!started) throw std::runtime_error("libvips did not start");
}

/// A `width` × `height` image of one colour; `values` has one entry per band, `format` the
/// band format (VIPS_FORMAT_UCHAR or VIPS_FORMAT_USHORT).
inline TestImage solidImage(int width, int height, std::vector<double> values,
                            VipsBandFormat format = VIPS_FORMAT_UCHAR) {
    startVips();
    VipsImage* black = nullptr;
    vips_black(&black, width, height, "bands", static_cast<int>(values.size()), nullptr);
    TestImage base(black);
    std::vector<double> ones(values.size(), 1.0);
    VipsImage* out = nullptr;
    vips_linear(base.get(), &out, ones.data(), values.data(), static_cast<int>(values.size()),
                nullptr);
    TestImage coloured(out);
    VipsImage* cast = nullptr;
    vips_cast(coloured.get(), &cast, format, nullptr);
    TestImage result(cast);
    VipsInterpretation interpretation =
        values.size() >= 3 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_B_W;
    if (format == VIPS_FORMAT_USHORT)
        interpretation =
            values.size() >= 3 ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_GREY16;
    VipsImage* tagged = nullptr;
    vips_copy(result.get(), &tagged, "interpretation", interpretation, nullptr);
    return TestImage(tagged);
}

/// `first` and `second` joined side by side (`vertical` false) or one above the other.
inline TestImage joined(const TestImage& first, const TestImage& second, bool vertical) {
    VipsImage* out = nullptr;
    vips_join(first.get(), second.get(), &out,
              vertical ? VIPS_DIRECTION_VERTICAL : VIPS_DIRECTION_HORIZONTAL, nullptr);
    return TestImage(out);
}

/// Writes `image` to `file`; the saver and its options come from the name ("x.jpg[Q=90]").
/// A non-zero `orientation` is stored as the EXIF orientation tag.
inline void save(const TestImage& image, const std::filesystem::path& file,
                 const std::string& options = "", int orientation = 0) {
    VipsImage* copy = nullptr;
    vips_copy(image.get(), &copy, nullptr);
    TestImage tagged(copy);
    if (orientation != 0) vips_image_set_int(tagged.get(), "orientation", orientation);
    const std::string target = file.string() + options;
    if (vips_image_write_to_file(tagged.get(), target.c_str(), nullptr) != 0)
        throw std::runtime_error(vips_error_buffer());
}

/// Keeps the first `bytes` bytes of `file`.
inline void truncateFile(const std::filesystem::path& file, std::uintmax_t bytes) {
    std::filesystem::resize_file(file, bytes);
}

/// An unpremultiplied colour read from a bitmap.
struct Rgba {
    int red, green, blue, alpha;
};

inline std::ostream& operator<<(std::ostream& out, const Rgba& c) {
    return out << "(" << c.red << ", " << c.green << ", " << c.blue << ", " << c.alpha << ")";
}

/// The pixel at (`x`, `y`) in the layout's coordinates (origin bottom-left, y upwards).
inline Rgba pixelAt(const detail::Bitmap& bitmap, double x, double y) {
    const auto column = static_cast<std::int64_t>(x);
    const auto row = bitmap.height - 1 - static_cast<std::int64_t>(y);
    std::uint32_t word = 0;
    std::memcpy(&word, bitmap.pixels.data() + row * bitmap.stride() + column * 4, 4);
    const std::uint32_t alpha = word >> 24;
    const auto unpremultiply = [alpha](std::uint32_t value) {
        return alpha == 0 ? 0 : static_cast<int>((value * 255 + alpha / 2) / alpha);
    };
    return {unpremultiply((word >> 16) & 0xFF), unpremultiply((word >> 8) & 0xFF),
            unpremultiply(word & 0xFF), static_cast<int>(alpha)};
}

/// Whether two colours agree within `tolerance` on every component.
inline bool near(const Rgba& a, const Rgba& b, int tolerance) {
    return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
           std::abs(a.blue - b.blue) <= tolerance && std::abs(a.alpha - b.alpha) <= tolerance;
}

}  // namespace tessel::testing
