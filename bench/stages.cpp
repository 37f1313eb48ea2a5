// Timings of the stages of a contact-sheet render, each on its own: layout, one bounded
// decode, one page draw, one PNG page encode and the PDF assembly.
//
//   tessel_bench_stages [--image=FILE.jpg] [Google Benchmark flags]
//
// Without --image it first writes a 6000 x 4000 photo-like JPEG into a temporary folder, so
// it runs anywhere; bench/compare.sh passes a file of the corpus instead.

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <benchmark/benchmark.h>

#include "tessel/Inspection.hpp"
#include "tessel/Layout.hpp"
#include "tessel/SheetRecipe.hpp"

#include "base/Bitmap.hpp"
#include "decode/Decode.hpp"
#include "decode/Reduce.hpp"
#include "draw/PageDrawing.hpp"
#include "formats/Encode.hpp"
#include "render/CellPictures.hpp"

namespace fs = std::filesystem;
using tessel::detail::Bitmap;

namespace {

constexpr std::int64_t contactPageItems = 12;  // 3 columns x 4 rows
constexpr std::int64_t pagesOf48 = 4;

/// A temporary folder removed with everything in it when the program ends.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (fs::temp_directory_path() / "tessel-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

/// Smooth colour gradients with a fine grain, so that it compresses about as well as a
/// camera photograph (a flat or purely random picture would flatter or punish the codecs).
Bitmap photoLike(std::int64_t width, std::int64_t height, std::uint32_t seed) {
    Bitmap bitmap{width, height, {}};
    bitmap.pixels.resize(static_cast<std::size_t>(width * height * 4));
    std::vector<double> across(static_cast<std::size_t>(width * 3));
    std::vector<double> down(static_cast<std::size_t>(height * 3));
    for (std::int64_t x = 0; x < width; ++x)
        for (std::int64_t c = 0; c < 3; ++c)
            across[static_cast<std::size_t>(x * 3 + c)] =
                60 * std::sin(static_cast<double>(x) / (300.0 + 170.0 * static_cast<double>(c)));
    for (std::int64_t y = 0; y < height; ++y)
        for (std::int64_t c = 0; c < 3; ++c)
            down[static_cast<std::size_t>(y * 3 + c)] =
                60 * std::cos(static_cast<double>(y) / (250.0 + 90.0 * static_cast<double>(c)));

    std::uint32_t state = seed | 1U;
    auto grain = [&state] {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return static_cast<double>(state % 17U) - 8.0;
    };
    std::uint8_t* out = bitmap.pixels.data();
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            const double noise = grain();
            // Cairo's ARGB32 on a little-endian machine: B, G, R, A.
            for (std::int64_t c = 0; c < 3; ++c) {
                const double value = 128 + across[static_cast<std::size_t>(x * 3 + c)] +
                                     down[static_cast<std::size_t>(y * 3 + c)] + noise;
                out[2 - c] = static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
            }
            out[3] = 255;
            out += 4;
        }
    }
    return bitmap;
}

/// What every benchmark works on, made once before the first run.
struct Inputs {
    fs::path image;
    tessel::SheetRecipe recipe = tessel::recipe(tessel::SheetPreset::contact);
    std::vector<tessel::SheetInput> pageInputs;  // one page of the contact preset
    std::vector<tessel::SheetCell> pageCells;
    std::int64_t decodeSize = 0;  // pixels on the longer side, as page drawing asks
    Bitmap page;                  // one drawn page
    std::vector<std::vector<std::uint8_t>> encodedPages;  // four PNG pages: a 48-image job
};

Inputs& inputs() {
    static Inputs shared;
    return shared;
}

/// Page 0 as a render draws it: each cell's picture decoded, then drawn with its caption.
Bitmap drawPage(const Inputs& in) {
    auto page = tessel::detail::makePage(in.recipe);
    for (std::size_t i = 0; i < in.pageCells.size(); ++i) {
        const Bitmap picture = tessel::detail::decodeForCell(in.pageInputs[i], in.pageCells[i]);
        tessel::detail::drawCell(*page, in.pageInputs[i], in.pageCells[i], picture, in.recipe);
    }
    return page->finish();
}

bool prepare(const std::optional<fs::path>& image, const TemporaryFolder& temporary) {
    Inputs& in = inputs();
    if (image) {
        in.image = *image;
    } else {
        const auto jpeg = tessel::detail::encode(photoLike(6000, 4000, 42),
                                                 tessel::SheetOutputFormat::jpeg, 0.92);
        if (!jpeg) {
            std::cerr << "tessel_bench_stages: cannot encode the generated test image\n";
            return false;
        }
        in.image = temporary.path() / "generated-6000x4000.jpg";
        std::ofstream(in.image, std::ios::binary)
            .write(reinterpret_cast<const char*>(jpeg->data()),
                   static_cast<std::streamsize>(jpeg->size()));
    }

    in.pageCells = tessel::TesselRenderer::cells(contactPageItems, in.recipe);
    const tessel::SheetRect frame = in.pageCells.front().imageFrame;
    in.decodeSize = std::max<std::int64_t>(
        1, static_cast<std::int64_t>(std::max(frame.width, frame.height) * 2.2));
    std::error_code ignored;
    tessel::SheetImageInfo info;
    info.width = 6000;
    info.height = 4000;
    info.bytes = static_cast<std::int64_t>(fs::file_size(in.image, ignored));
    in.pageInputs.assign(static_cast<std::size_t>(contactPageItems), {in.image, info});
    in.page = drawPage(in);

    const auto png = tessel::detail::encode(in.page, tessel::SheetOutputFormat::png, 0.8);
    if (!png) {
        std::cerr << "tessel_bench_stages: cannot encode a page as PNG\n";
        return false;
    }
    in.encodedPages.assign(static_cast<std::size_t>(pagesOf48), *png);
    return true;
}

void layout480(benchmark::State& state) {
    const Inputs& in = inputs();
    for (auto _ : state) benchmark::DoNotOptimize(tessel::TesselRenderer::cells(480, in.recipe));
}
BENCHMARK(layout480)->Name("layout/cells_480_items")->Unit(benchmark::kMicrosecond);

void decodeOne(benchmark::State& state) {
    const Inputs& in = inputs();
    for (auto _ : state) {
        auto bitmap = tessel::detail::decodeUpright(in.image, in.decodeSize);
        if (!bitmap) {
            state.SkipWithError("the image cannot be decoded");
            return;
        }
        benchmark::DoNotOptimize(bitmap->pixels.data());
    }
    state.counters["decode_px"] = static_cast<double>(in.decodeSize);
}
BENCHMARK(decodeOne)
    ->Name("decode/upright_24MP_jpeg")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

// A preview's picture: a JPEG decoded at the DCT scale that leaves four fifths of the bound,
// then reduced to the size its cell draws it at.
void decodeForPreview(benchmark::State& state) {
    const Inputs& in = inputs();
    const std::int64_t drawn = in.decodeSize * 10 / 22;
    for (auto _ : state) {
        auto bitmap =
            tessel::detail::decodeUpright(in.image, in.decodeSize, (in.decodeSize * 4 + 4) / 5);
        if (!bitmap) {
            state.SkipWithError("the image cannot be decoded");
            return;
        }
        auto reduced =
            tessel::detail::reducedPicture(*bitmap, drawn, tessel::detail::ReduceFilter::cubic);
        benchmark::DoNotOptimize(reduced);
    }
    state.counters["drawn_px"] = static_cast<double>(drawn);
}
BENCHMARK(decodeForPreview)
    ->Name("decode/preview_24MP_jpeg")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

void drawOnePage(benchmark::State& state) {
    const Inputs& in = inputs();
    for (auto _ : state) {
        Bitmap page = drawPage(in);
        benchmark::DoNotOptimize(page.pixels.data());
    }
    state.counters["images"] = static_cast<double>(contactPageItems);
}
BENCHMARK(drawOnePage)
    ->Name("draw/page_of_12")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

void encodePng(benchmark::State& state) {
    const Inputs& in = inputs();
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto png = tessel::detail::encode(in.page, tessel::SheetOutputFormat::png, 0.8);
        if (!png) {
            state.SkipWithError("PNG encoding failed");
            return;
        }
        bytes = png->size();
        benchmark::DoNotOptimize(png->data());
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(encodePng)
    ->Name("encode/png_page")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

void assemblePdf(benchmark::State& state) {
    const Inputs& in = inputs();
    for (auto _ : state) {
        auto pdf = tessel::detail::makePDF(in.encodedPages, in.recipe.pdfPageSize());
        benchmark::DoNotOptimize(pdf.data());
    }
    state.counters["pages"] = static_cast<double>(in.encodedPages.size());
}
BENCHMARK(assemblePdf)
    ->Name("pdf/4_encoded_pages")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::optional<fs::path> image;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        constexpr std::string_view imageFlag = "--image=";
        if (argument.starts_with(imageFlag)) {
            image = fs::path(argument.substr(imageFlag.size()));
            if (!fs::is_regular_file(*image)) {
                std::cerr << "tessel_bench_stages: no such file: " << image->string() << '\n';
                return 2;
            }
        } else {
            std::cerr << "tessel_bench_stages: unknown argument " << argument
                      << "\nusage: tessel_bench_stages [--image=FILE.jpg] [benchmark flags]\n";
            return 2;
        }
    }

    const TemporaryFolder temporary;
    if (!prepare(image, temporary)) return 1;
    std::cerr << "tessel_bench_stages: image " << (image ? image->string() : "generated")
              << ", decode size " << inputs().decodeSize << " px\n";
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
