#include "TestFiles.hpp"

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <vips/vips.h>

namespace tessel::test {
namespace {

struct Unref {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};
using Image = std::unique_ptr<VipsImage, Unref>;

void startVips() {
    static const bool started = VIPS_INIT("cli_tests") == 0;
    if (!started) throw std::runtime_error("libvips did not start");
}

Image solid(int width, int height, RGB color, int bands) {
    startVips();
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width * height * bands));
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const auto band = i % static_cast<std::size_t>(bands);
        pixels[i] = band < 3 ? color[band] : 255;
    }
    Image image(vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height, bands,
                                                VIPS_FORMAT_UCHAR));
    if (!image) throw std::runtime_error(vips_error_buffer());
    return image;
}

Image load(const std::filesystem::path& file) {
    startVips();
    Image image(vips_image_new_from_file(file.c_str(), nullptr));
    if (!image) throw std::runtime_error(vips_error_buffer());
    return image;
}

}  // namespace

void writeImage(const std::filesystem::path& file, int width, int height, RGB color) {
    const Image image = solid(width, height, color, 3);
    if (vips_image_write_to_file(image.get(), file.c_str(), nullptr) != 0)
        throw std::runtime_error(vips_error_buffer());
}

void writeAnimatedGIF(const std::filesystem::path& file, int frames) {
    constexpr int side = 16;
    // Frames stacked vertically with a page height are how libvips holds an animation.
    const Image image = solid(side, side * frames, {200, 40, 40}, 4);
    vips_image_set_int(image.get(), "page-height", side);
    if (vips_image_write_to_file(image.get(), file.c_str(), nullptr) != 0)
        throw std::runtime_error(vips_error_buffer());
}

std::string fileBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<PageSize> pdfPageSizes(const std::filesystem::path& file) {
    QPDF pdf;
    pdf.processFile(file.c_str());
    std::vector<PageSize> sizes;
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        const QPDFObjectHandle::Rectangle box = page.getMediaBox().getArrayAsRectangle();
        sizes.push_back({box.urx - box.llx, box.ury - box.lly});
    }
    return sizes;
}

std::array<int, 2> imageSize(const std::filesystem::path& file) {
    const Image image = load(file);
    return {vips_image_get_width(image.get()), vips_image_get_height(image.get())};
}

RGB pixelAt(const std::filesystem::path& file, int x, int y) {
    const Image image = load(file);
    double* values = nullptr;
    int count = 0;
    if (vips_getpoint(image.get(), &values, &count, x, y, nullptr) != 0 || count < 3)
        throw std::runtime_error(vips_error_buffer());
    RGB color{static_cast<std::uint8_t>(values[0]), static_cast<std::uint8_t>(values[1]),
              static_cast<std::uint8_t>(values[2])};
    g_free(values);
    return color;
}

}  // namespace tessel::test
