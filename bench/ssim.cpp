// The structural similarity (SSIM) of two pictures of the same size, on their luminance, with
// the usual 11 × 11 Gaussian window (sigma 1.5) and constants for 8-bit samples. 1 means
// identical; pages that look the same to a reader score above 0.99.
//
//   tessel_bench_ssim A.png B.png      prints "ssim=0.99712"
//
// Used to check that a change of how pictures are resampled leaves the pages visually equal
// (bench/README.md); pages of a PDF are turned into images with `pdftoppm -png` first.

#include <cmath>
#include <cstdio>
#include <vector>

#include <vips/vips.h>

namespace {

struct Luma {
    int width = 0;
    int height = 0;
    std::vector<double> samples;
};

bool load(const char* file, Luma& out) {
    VipsImage* image = vips_image_new_from_file(file, nullptr);
    if (!image) return false;
    VipsImage* srgb = nullptr;
    VipsImage* flat = nullptr;
    VipsImage* bytes = nullptr;
    bool ok = vips_colourspace(image, &srgb, VIPS_INTERPRETATION_sRGB, nullptr) == 0 &&
              vips_flatten(srgb, &flat, nullptr) == 0 &&
              vips_cast_uchar(flat, &bytes, nullptr) == 0;
    std::size_t length = 0;
    void* pixels = ok ? vips_image_write_to_memory(bytes, &length) : nullptr;
    if (pixels) {
        out.width = vips_image_get_width(bytes);
        out.height = vips_image_get_height(bytes);
        const int bands = vips_image_get_bands(bytes);
        const auto* p = static_cast<const unsigned char*>(pixels);
        out.samples.resize(static_cast<std::size_t>(out.width) *
                           static_cast<std::size_t>(out.height));
        for (std::size_t i = 0; i < out.samples.size(); ++i) {
            const unsigned char* px = p + i * static_cast<std::size_t>(bands);
            out.samples[i] = bands >= 3 ? 0.299 * px[0] + 0.587 * px[1] + 0.114 * px[2] : px[0];
        }
        g_free(pixels);
    }
    for (VipsImage* owned : {image, srgb, flat, bytes})
        if (owned) g_object_unref(owned);
    return pixels != nullptr;
}

// `in` filtered with the separable window, edges clamped.
std::vector<double> blurred(const std::vector<double>& in, int width, int height) {
    constexpr int radius = 5;
    double kernel[2 * radius + 1];
    double sum = 0;
    for (int i = -radius; i <= radius; ++i) sum += kernel[i + radius] = std::exp(-i * i / 4.5);
    for (double& k : kernel) k /= sum;
    const auto at = [](int v, int size) { return v < 0 ? 0 : v >= size ? size - 1 : v; };
    const auto index = [width](int y, int x) {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(x);
    };
    std::vector<double> across(in.size());
    std::vector<double> out(in.size());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double v = 0;
            for (int i = -radius; i <= radius; ++i)
                v += kernel[i + radius] * in[index(y, at(x + i, width))];
            across[index(y, x)] = v;
        }
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double v = 0;
            for (int i = -radius; i <= radius; ++i)
                v += kernel[i + radius] * across[index(at(y + i, height), x)];
            out[index(y, x)] = v;
        }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    if (VIPS_INIT(argv[0]) != 0 || argc != 3) {
        std::fprintf(stderr, "usage: tessel_bench_ssim A B\n");
        return 2;
    }
    Luma a, b;
    if (!load(argv[1], a) || !load(argv[2], b) || a.width != b.width || a.height != b.height) {
        std::fprintf(stderr, "tessel_bench_ssim: two readable pictures of one size are needed\n");
        return 1;
    }
    const std::size_t n = a.samples.size();
    std::vector<double> aa(n), bb(n), ab(n);
    for (std::size_t i = 0; i < n; ++i) {
        aa[i] = a.samples[i] * a.samples[i];
        bb[i] = b.samples[i] * b.samples[i];
        ab[i] = a.samples[i] * b.samples[i];
    }
    const auto ma = blurred(a.samples, a.width, a.height);
    const auto mb = blurred(b.samples, a.width, a.height);
    const auto saa = blurred(aa, a.width, a.height);
    const auto sbb = blurred(bb, a.width, a.height);
    const auto sab = blurred(ab, a.width, a.height);
    constexpr double c1 = (0.01 * 255) * (0.01 * 255);
    constexpr double c2 = (0.03 * 255) * (0.03 * 255);
    double total = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double va = saa[i] - ma[i] * ma[i];
        const double vb = sbb[i] - mb[i] * mb[i];
        const double cov = sab[i] - ma[i] * mb[i];
        total += ((2 * ma[i] * mb[i] + c1) * (2 * cov + c2)) /
                 ((ma[i] * ma[i] + mb[i] * mb[i] + c1) * (va + vb + c2));
    }
    std::printf("ssim=%.5f\n", total / static_cast<double>(n));
    return 0;
}
