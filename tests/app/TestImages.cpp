// Kept apart from the Qt sources: GLib's headers use names that Qt defines as macros.

#include "TestImages.hpp"

#include <fstream>
#include <memory>
#include <stdexcept>

#include <vips/vips.h>

namespace tessel::test {
namespace {

using Image = std::unique_ptr<VipsImage, decltype(&g_object_unref)>;

Image checked(VipsImage* image) {
    if (image == nullptr) throw std::runtime_error(vips_error_buffer());
    return Image(image, g_object_unref);
}

void startVips() {
    static const bool started = VIPS_INIT("tessel-app-tests") == 0;
    if (!started) throw std::runtime_error("libvips did not start");
}

Image solid(int width, int height, double red, double green, double blue) {
    startVips();
    VipsImage* black = nullptr;
    vips_black(&black, width, height, "bands", 3, nullptr);
    const Image base = checked(black);
    double scale[] = {1, 1, 1};
    double offset[] = {red, green, blue};
    VipsImage* coloured = nullptr;
    vips_linear(base.get(), &coloured, scale, offset, 3, nullptr);
    const Image linear = checked(coloured);
    VipsImage* cast = nullptr;
    vips_cast_uchar(linear.get(), &cast, nullptr);
    const Image bytes = checked(cast);
    VipsImage* tagged = nullptr;
    vips_copy(bytes.get(), &tagged, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr);
    return checked(tagged);
}

void save(const Image& image, const std::filesystem::path& file) {
    if (vips_image_write_to_file(image.get(), file.c_str(), nullptr) != 0)
        throw std::runtime_error(vips_error_buffer());
}

}  // namespace

void writeImage(const std::filesystem::path& file, int width, int height, int red, int green,
                int blue) {
    save(solid(width, height, red, green, blue), file);
}

void writeNoise(const std::filesystem::path& file, int width, int height) {
    startVips();
    VipsImage* noise = nullptr;
    vips_gaussnoise(&noise, width, height, "sigma", 60.0, nullptr);
    const Image grey = checked(noise);
    VipsImage* cast = nullptr;
    vips_cast_uchar(grey.get(), &cast, nullptr);
    save(checked(cast), file);
}

void writeDatedJpeg(const std::filesystem::path& file, const std::string& dateTaken) {
    const Image image = solid(40, 30, 90, 90, 90);
    VipsImage* copy = nullptr;
    vips_copy(image.get(), &copy, nullptr);
    const Image dated = checked(copy);
    // libvips builds the EXIF block from these fields when it saves.
    vips_image_set_string(dated.get(), "exif-ifd2-DateTimeOriginal", dateTaken.c_str());
    save(dated, file);
}

void writeAnimation(const std::filesystem::path& file, int frames) {
    startVips();
    // Noise, so that no two frames are alike: encoders merge identical frames into one.
    VipsImage* noise = nullptr;
    vips_gaussnoise(&noise, 24, 16 * frames, nullptr);
    const Image strip = checked(noise);
    VipsImage* cast = nullptr;
    vips_cast_uchar(strip.get(), &cast, nullptr);
    const Image pages = checked(cast);
    vips_image_set_int(pages.get(), "page-height", 16);
    save(pages, file);
}

void writeText(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

}  // namespace tessel::test
