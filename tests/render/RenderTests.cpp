#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

#include <gtest/gtest.h>
#include <qpdf/qpdf-c.h>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "GeneratedImages.hpp"
#include "decode/ColorProfile.hpp"
#include "draw/PageDrawing.hpp"
#include "formats/Encode.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/png/Png.hpp"
#include "render/CellPictures.hpp"
#include "render/RenderDriver.hpp"

namespace tessel {
namespace {

using testing::solidImage;
using testing::TemporaryFolder;
using Bytes = std::vector<std::uint8_t>;

SheetInput inputFor(const std::filesystem::path& file, std::int64_t width, std::int64_t height) {
    SheetImageInfo info;
    info.width = width;
    info.height = height;
    return {file, info};
}

/// `count` small JPEGs of different colours, named photo-1.jpg, photo-2.jpg, ...
std::vector<SheetInput> photos(const TemporaryFolder& folder, int count) {
    std::vector<SheetInput> inputs;
    for (int i = 1; i <= count; ++i) {
        const auto file = folder / ("photo-" + std::to_string(i) + ".jpg");
        const double shade = 255.0 * i / count;
        const int width = i % 2 == 0 ? 600 : 400;
        save(solidImage(width, 500, {shade, 255 - shade, 90}), file);
        inputs.push_back(inputFor(file, width, 500));
    }
    return inputs;
}

bool isPNG(const Bytes& bytes) {
    return bytes.size() > 8 && bytes[0] == 0x89 && bytes[1] == 'P' && bytes[2] == 'N' &&
           bytes[3] == 'G';
}

bool isJPEG(const Bytes& bytes) {
    return bytes.size() > 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
}

/// The page count qpdf reads from a document; -1 when it cannot read it.
int pdfPageCount(const Bytes& pdf) {
    qpdf_data document = qpdf_init();
    int count = -1;
    if (qpdf_read_memory(document, "render", reinterpret_cast<const char*>(pdf.data()), pdf.size(),
                         nullptr) == QPDF_SUCCESS)
        count = qpdf_get_num_pages(document);
    qpdf_cleanup(&document);
    return count;
}

TesselError renderError(const std::vector<SheetInput>& inputs, const SheetRecipe& recipe,
                        int workers = 2) {
    try {
        detail::renderWithWorkers(inputs, recipe, {}, workers);
    } catch (const TesselError& error) {
        return error;
    }
    ADD_FAILURE() << "the render succeeded";
    return TesselError::destinationExists();
}

TEST(Render, ThirteenPhotosOnTheContactPresetMakeTwoPages) {
    TemporaryFolder folder;
    const auto inputs = photos(folder, 13);
    const SheetRecipe contact = recipe(SheetPreset::contact);

    const SheetRenderResult result = TesselRenderer::render(inputs, contact);
    ASSERT_EQ(result.pages.size(), 2u);
    EXPECT_TRUE(isPNG(result.pages[0]));
    EXPECT_TRUE(isPNG(result.pages[1]));
    EXPECT_EQ(pdfPageCount(result.pdf), 2);
    EXPECT_EQ(result.itemCount, 13);
    EXPECT_EQ(result.pageSize, (SheetSize{1240, 1754}));
    EXPECT_EQ(result.pdfPageSize, contact.pdfPageSize());

    SheetRecipe asPNG = contact;
    asPNG.output = SheetOutputFormat::png;
    EXPECT_EQ(TesselRenderer::render(inputs, asPNG).pages, result.pages);

    SheetRecipe asJPEG = contact;
    asJPEG.output = SheetOutputFormat::jpeg;
    const SheetRenderResult jpeg = TesselRenderer::render(inputs, asJPEG);
    ASSERT_EQ(jpeg.pages.size(), 2u);
    EXPECT_TRUE(isJPEG(jpeg.pages[0]));
    EXPECT_TRUE(isJPEG(jpeg.pages[1]));
    EXPECT_EQ(pdfPageCount(jpeg.pdf), 2);
}

TEST(Render, GivesTheSameBytesOnOneThreadAsOnSeveral) {
    TemporaryFolder folder;
    auto inputs = photos(folder, 14);
    for (auto& input : inputs) input.info.cameraModel = "A camera model name long enough to be cut";
    SheetRecipe r = recipe(SheetPreset::proof);
    r.fit = SheetFit::fill;
    r.spacing = 0;
    r.rows = 2;
    r.caption = SheetCaption::camera;

    const auto single = detail::renderWithWorkers(inputs, r, {}, 1);
    EXPECT_EQ(single.pages.size(), 2u);
    // From a warm cache pictures are ready at once, so workers park them and draw pages
    // side by side.
    PictureCache cache;
    for (int workers : {2, 3, 8}) {
        EXPECT_TRUE(detail::renderWithWorkers(inputs, r, {}, workers) == single)
            << workers << " workers";
        EXPECT_TRUE(detail::renderWithWorkers(inputs, r, {.pictures = &cache}, workers) == single)
            << workers << " workers with a cache";
    }
}

TEST(Render, PagesEncodedWhileDrawnAreThePagesDrawnWhole) {
    // Opaque PNG pages are encoded row by row while their later pictures are still being
    // drawn; a row encoded too early would miss part of a picture or a caption.
    TemporaryFolder folder;
    const auto inputs = photos(folder, 9);
    SheetRecipe contact = recipe(SheetPreset::contact);
    contact.caption = SheetCaption::details;
    contact.title = "Trip";  // drawn before any row is encoded
    contact.pageNumbers = true;
    SheetRecipe landscape = recipe(SheetPreset::proof);
    landscape.orientation = SheetOrientation::landscape;
    landscape.fit = SheetFit::fill;
    landscape.spacing = 0;
    landscape.captionFontSize = 72;
    SheetRecipe strip = recipe(SheetPreset::contact);
    strip.paper = SheetPaper::custom;
    strip.customWidth = 400;
    strip.customHeight = 3000;
    strip.columns = 1;
    strip.rows = 5;
    const auto madeAt = std::chrono::system_clock::now();
    for (const SheetRecipe& r : {contact, landscape, strip}) {
        const auto rendered = detail::renderWithWorkers(inputs, r, {.madeAt = madeAt}, 2);
        const auto cells = TesselRenderer::cells(std::ssize(inputs), r);
        for (std::size_t page = 0; page < rendered.pages.size(); ++page) {
            const auto canvas = detail::makePage(r);
            detail::drawPageText(
                *canvas, r, {static_cast<std::int64_t>(page), std::ssize(rendered.pages), madeAt});
            for (std::size_t i = 0; i < cells.size(); ++i)
                if (cells[i].page == static_cast<std::int64_t>(page))
                    detail::drawCell(*canvas, inputs[i], cells[i],
                                     *detail::pictureForCell(inputs[i], cells[i], nullptr,
                                                             CachedPictures::exact, r.fit),
                                     r);
            const auto whole =
                detail::encode(canvas->finish(), SheetOutputFormat::png, 1, true,
                               {r.pixelsPerInch().value_or(0), detail::srgbProfile()});
            ASSERT_TRUE(whole);
            EXPECT_TRUE(rendered.pages[page] == *whole) << "page " << page;
        }
    }
}

Bytes fileBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(RenderSpooled, WritesTheSameFilesAsRenderingInMemory) {
    // The spooled path is what the command line takes for jobs of any size; the files must
    // not tell the two apart, also when a page has transparency and is re-encoded for the PDF.
    TemporaryFolder folder;
    const auto inputs = photos(folder, 14);
    for (const auto output :
         {SheetOutputFormat::pdf, SheetOutputFormat::png, SheetOutputFormat::jpeg}) {
        for (const double alpha : {1.0, 0.5}) {
            SCOPED_TRACE(std::string(rawValue(output)) + " alpha " + std::to_string(alpha));
            SheetRecipe r = recipe(SheetPreset::contact);
            r.output = output;
            r.background.alpha = alpha;
            const auto inMemory = folder / "memory" / std::string(rawValue(output));
            const auto spooled = folder / "spooled" / std::string(rawValue(output));
            std::filesystem::create_directories(inMemory);
            std::filesystem::create_directories(spooled);
            const RenderOptions made{.madeAt = std::chrono::system_clock::now()};
            const auto expected =
                TesselRenderer::write(TesselRenderer::render(inputs, r, made), inMemory, "Trip", r);
            const SpooledSheet sheet = TesselRenderer::renderSpooled(inputs, r, spooled, made);
            EXPECT_EQ(sheet.pageCount(), 2);
            EXPECT_EQ(sheet.itemCount(), 14);
            const auto written = TesselRenderer::write(sheet, spooled, "Trip", r);
            ASSERT_EQ(written.size(), expected.size());
            for (std::size_t i = 0; i < written.size(); ++i) {
                EXPECT_EQ(written[i].filename(), expected[i].filename());
                EXPECT_TRUE(fileBytes(written[i]) == fileBytes(expected[i])) << written[i];
            }
            // The spool is an unnamed file: nothing but the output is left in the folder.
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(spooled), {}),
                      static_cast<std::ptrdiff_t>(written.size()));
            std::filesystem::remove_all(folder / "memory");
            std::filesystem::remove_all(folder / "spooled");
        }
    }
}

TEST(RenderSpooled, FailsAsRenderDoesAndNeverOverwrites) {
    TemporaryFolder folder;
    auto inputs = photos(folder, 3);
    const SheetRecipe r = recipe(SheetPreset::contact);
    EXPECT_THROW(TesselRenderer::renderSpooled({}, r, folder.path()), TesselError);
    inputs[1].url = folder / "missing.jpg";
    try {
        (void)TesselRenderer::renderSpooled(inputs, r, folder.path());
        ADD_FAILURE() << "the render succeeded";
    } catch (const TesselError& error) {
        EXPECT_EQ(error, TesselError::cannotRead("missing.jpg"));
    }
    inputs[1].url = folder / "photo-2.jpg";
    const SpooledSheet sheet = TesselRenderer::renderSpooled(inputs, r, folder.path());
    std::ofstream(folder / "Trip.pdf") << "mine";
    EXPECT_THROW(TesselRenderer::write(sheet, folder.path(), "Trip", r), TesselError);
    EXPECT_EQ(fileBytes(folder / "Trip.pdf"), (Bytes{'m', 'i', 'n', 'e'}));
}

/// `page` halved: each pixel the mean of a 2 × 2 block.
detail::RgbaImage halved(const detail::RgbaImage& page) {
    detail::RgbaImage half{page.width / 2, page.height / 2, {}};
    half.pixels.resize(static_cast<std::size_t>(half.width * half.height * 4));
    for (std::int64_t y = 0; y < half.height; ++y)
        for (std::int64_t x = 0; x < half.width; ++x)
            for (std::int64_t c = 0; c < 4; ++c) {
                int sum = 0;
                for (std::int64_t dy = 0; dy < 2; ++dy)
                    for (std::int64_t dx = 0; dx < 2; ++dx)
                        sum += page.pixels[static_cast<std::size_t>(
                            ((2 * y + dy) * page.width + 2 * x + dx) * 4 + c)];
                half.pixels[static_cast<std::size_t>((y * half.width + x) * 4 + c)] =
                    static_cast<std::uint8_t>((sum + 2) / 4);
            }
    return half;
}

/// Where two pages of one size differ by more than `tolerance` in any channel, leaving out
/// pixels whose centre lies in one of `skipped` (the layout's rectangles): the count and the
/// bounds in the layout's coordinates.
struct Difference {
    std::int64_t count = 0;
    double left = 1e9, bottom = 1e9, right = -1, top = -1;
};
Difference differenceOf(const detail::RgbaImage& a, const detail::RgbaImage& b, int tolerance,
                        const std::vector<SheetRect>& skipped = {}) {
    Difference d;
    for (std::int64_t row = 0; row < a.height; ++row)
        for (std::int64_t x = 0; x < a.width; ++x) {
            const double cx = static_cast<double>(x) + 0.5;
            const double cy = static_cast<double>(a.height - row) - 0.5;
            if (std::ranges::any_of(skipped, [&](const SheetRect& r) {
                    return cx >= r.x && cx <= r.x + r.width && cy >= r.y && cy <= r.y + r.height;
                }))
                continue;
            for (std::int64_t c = 0; c < 3; ++c) {
                const auto at = static_cast<std::size_t>((row * a.width + x) * 4 + c);
                if (std::abs(a.pixels[at] - b.pixels[at]) <= tolerance) continue;
                d = {d.count + 1, std::min(d.left, cx), std::min(d.bottom, cy),
                     std::max(d.right, cx), std::max(d.top, cy)};
                break;
            }
        }
    return d;
}

// 300 ppi is the 150 ppi sheet at twice the pixels: halved, its pages are the standard ones,
// pictures, captions, title and footer in their places. The title and footer change nothing
// but their bands, and a page drawn on its own is numbered as in the whole sheet.
TEST(Render, HighResolutionIsTheSameSheetAndTitlesStayInTheirMargins) {
    TemporaryFolder folder;
    const auto inputs = photos(folder, 14);
    const RenderOptions options{.madeAt = std::chrono::system_clock::now()};
    SheetRecipe plain = recipe(SheetPreset::contact);
    plain.caption = SheetCaption::details;
    SheetRecipe titled = plain;
    titled.title = std::string(200, 'W');  // cut short at the end of the line
    titled.pageNumbers = true;
    SheetRecipe high = titled;
    high.resolution = SheetResolution::high;

    const auto standard = TesselRenderer::render(inputs, titled, options);
    const auto sharp = TesselRenderer::render(inputs, high, options);
    const auto untitled = TesselRenderer::render(inputs, plain, options);
    ASSERT_EQ(sharp.pages.size(), 2u);
    EXPECT_EQ(sharp.pageSize, (SheetSize{2480, 3508}));
    EXPECT_EQ(sharp.pdfPageSize, standard.pdfPageSize);
    EXPECT_TRUE(TesselRenderer::renderPage(inputs, high, 1, options) == sharp.pages[1]);
    const SheetPageTextFrames bands = TesselRenderer::pageTextFrames(titled);
    for (std::size_t page = 0; page < 2; ++page) {
        SCOPED_TRACE(page);
        const auto low = detail::decodePNG(standard.pages[page]);
        const auto fine = detail::decodePNG(sharp.pages[page]);
        const auto bare = detail::decodePNG(untitled.pages[page]);
        ASSERT_TRUE(low && fine && bare);
        ASSERT_EQ(fine->width, 2480);
        ASSERT_EQ(fine->height, 3508);
        // Only the edges of letters differ much: a picture or caption one pixel out of place
        // would differ along all its edges, some 15,000 pixels.
        const std::int64_t area = low->width * low->height;
        EXPECT_LT(differenceOf(halved(*fine), *low, 48).count, area / 200);
        EXPECT_LT(differenceOf(halved(*fine), *low, 160).count, area / 10000);

        const SheetRect title = *bands.title, footer = *bands.footer;
        EXPECT_EQ(differenceOf(*low, *bare, 0, {title, footer}).count, 0);
        // The title, cut short, spans its band; the footer has the date at its left end and
        // the page number at its right.
        const Difference inTitle = differenceOf(*low, *bare, 0, {footer});
        EXPECT_GT(inTitle.right - inTitle.left, title.width - 60);
        EXPECT_GE(inTitle.bottom, title.y);
        const Difference inFooter = differenceOf(*low, *bare, 0, {title});
        EXPECT_LT(inFooter.left, footer.x + 4);
        EXPECT_GT(inFooter.right, footer.x + footer.width - 4);
        EXPECT_LE(inFooter.top, footer.y + footer.height);
    }
}

TEST(Render, FailsInTheOrderOfItsSteps) {
    TemporaryFolder folder;
    auto inputs = photos(folder, 13);
    const SheetRecipe contact = recipe(SheetPreset::contact);
    SheetRecipe impossible = contact;
    impossible.margin = 1000;

    EXPECT_EQ(renderError({}, impossible), TesselError::noImages());
    EXPECT_EQ(renderError(inputs, impossible), TesselError::invalidLayout());

    // Missing files on both pages: the first in sheet order is named, whichever worker
    // reached its file first.
    inputs[12].url = folder / "gone-late.jpg";
    inputs[4].url = folder / "gone-early.png";
    for (int workers : {1, 2, 4})
        EXPECT_EQ(renderError(inputs, contact, workers), TesselError::cannotRead("gone-early.png"));

    // A truncated file is unreadable too, never drawn half grey.
    save(solidImage(1600, 1200, {200, 40, 40}), folder / "cut.jpg", "[Q=95]");
    testing::truncateFile(folder / "cut.jpg", 5000);
    inputs[4] = inputFor(folder / "cut.jpg", 1600, 1200);
    EXPECT_EQ(renderError(inputs, contact), TesselError::cannotRead("cut.jpg"));
}

// --- The picture cache and cancellation ---------------------------------------------------

/// `photos` with two colours side by side in each, so that resampling shows in the bytes;
/// `scale` times 900 × 700 pixels.
std::vector<SheetInput> twoTonePhotos(const TemporaryFolder& folder, int count, int scale = 1) {
    std::vector<SheetInput> inputs;
    for (int i = 1; i <= count; ++i) {
        const auto file = folder / ("two-" + std::to_string(i) + ".jpg");
        const double shade = 255.0 * i / count;
        save(joined(solidImage(500 * scale, 700 * scale, {shade, 30, 200}),
                    solidImage(400 * scale, 700 * scale, {20, shade, 40}), false),
             file);
        inputs.push_back(inputFor(file, 900 * scale, 700 * scale));
    }
    return inputs;
}

/// The mean difference of two PNG pages of the same size, in levels per channel.
double meanDifference(const Bytes& first, const Bytes& second) {
    const auto a = detail::decodePNG(first);
    const auto b = detail::decodePNG(second);
    if (!a || !b || a->pixels.size() != b->pixels.size()) return 255;
    double sum = 0;
    for (std::size_t i = 0; i < a->pixels.size(); ++i)
        sum += std::abs(static_cast<int>(a->pixels[i]) - static_cast<int>(b->pixels[i]));
    return sum / static_cast<double>(a->pixels.size());
}

// An export's picture drawn smaller than its bound is decoded at the bound's scale and reduced
// once to the size its cell draws it at: the page looks as one whose pictures cairo scaled.
TEST(Render, PicturesDrawnSmallerAreReducedOnceStraightToTheirSize) {
    TemporaryFolder folder;
    const auto inputs = twoTonePhotos(folder, 6, 3);  // 2700 x 2100
    for (const SheetFit fit : {SheetFit::fit, SheetFit::fill}) {
        SheetRecipe r = recipe(SheetPreset::contact);
        r.fit = fit;
        const auto cells = TesselRenderer::cells(std::ssize(inputs), r);
        const auto canvas = detail::makePage(r);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const auto picture =
                detail::pictureForCell(inputs[i], cells[i], nullptr, CachedPictures::exact, fit);
            EXPECT_EQ(std::max(picture->width, picture->height),
                      detail::finalSize(inputs[i], cells[i], fit));
            detail::drawCell(*canvas, inputs[i], cells[i],
                             detail::decodeForCell(inputs[i], cells[i]), r);
        }
        const auto scaledByCairo = detail::encode(canvas->finish(), SheetOutputFormat::png, 1);
        ASSERT_TRUE(scaledByCairo);
        EXPECT_LT(meanDifference(TesselRenderer::render(inputs, r).pages[0], *scaledByCairo), 1.0);
    }
}

TEST(PictureCache, DecodesAFileAgainOnceItChanged) {
    TemporaryFolder folder;
    auto inputs = twoTonePhotos(folder, 3);
    const SheetRecipe r = recipe(SheetPreset::contact);
    PictureCache cache;
    TesselRenderer::render(inputs, r, {.pictures = &cache});

    save(solidImage(900, 700, {250, 250, 0}), inputs[1].url);
    std::filesystem::last_write_time(
        inputs[1].url, std::filesystem::last_write_time(inputs[1].url) + std::chrono::seconds(5));
    EXPECT_TRUE(TesselRenderer::render(inputs, r, {.pictures = &cache}) ==
                TesselRenderer::render(inputs, r));
    EXPECT_EQ(cache.counts(), (PictureCacheCounts{4, 2, 0}));
    EXPECT_EQ(cache.count(), 3);  // the older picture is gone

    // A file that disappeared fails as it does without a cache.
    std::filesystem::remove(inputs[2].url);
    try {
        TesselRenderer::render(inputs, r, {.pictures = &cache});
        ADD_FAILURE() << "rendered a missing file";
    } catch (const TesselError& error) {
        EXPECT_EQ(error, TesselError::cannotRead("two-3.jpg"));
    }
}

TEST(PictureCache, ThumbnailsAreReducedFromThePicturesARenderKept) {
    TemporaryFolder folder;
    const auto inputs = twoTonePhotos(folder, 3, 2);  // 1800 x 1400
    using Size = std::pair<std::int64_t, std::int64_t>;
    const auto size = [](const std::optional<Bytes>& thumbnail) {
        const auto frame = thumbnail ? detail::readJPEGFrame(*thumbnail) : std::nullopt;
        return frame ? Size{frame->width, frame->height} : Size{};
    };
    // Nothing cached: the file is decoded at the thumbnail's size, and nothing is kept.
    PictureCache cache;
    EXPECT_EQ(size(TesselRenderer::thumbnailData(inputs[0].url, 320, cache)), (Size{320, 249}));
    EXPECT_EQ(cache.counts(), PictureCacheCounts{});
    EXPECT_EQ(cache.count(), 0);

    // After a render, each thumbnail comes from the picture it kept.
    (void)TesselRenderer::render(inputs, recipe(SheetPreset::contact), {.pictures = &cache});
    EXPECT_EQ(cache.counts(), (PictureCacheCounts{3, 0, 0}));
    for (const SheetInput& input : inputs)
        EXPECT_EQ(size(TesselRenderer::thumbnailData(input.url, 320, cache)), (Size{320, 249}));
    EXPECT_EQ(cache.counts(), (PictureCacheCounts{3, 3, 0}));

    const auto notAnImage = folder / "notes.jpg";
    std::ofstream(notAnImage) << "not a picture";
    EXPECT_EQ(TesselRenderer::thumbnailData(notAnImage, 320, cache), std::nullopt);

    // A decoding nobody waits for any more gives up, and keeps nothing.
    PictureCache empty;
    RenderCancellation stopped;
    stopped.cancel();
    EXPECT_EQ(TesselRenderer::thumbnailData(inputs[1].url, 320, empty, &stopped), std::nullopt);
    EXPECT_EQ(empty.count(), 0);
}

TEST(PictureCache, StaysWithinItsBudgetDroppingTheLeastRecentlyUsed) {
    TemporaryFolder folder;
    const auto inputs = twoTonePhotos(folder, 6);
    const SheetRecipe r = recipe(SheetPreset::contact);
    PictureCache probe;
    TesselRenderer::render({inputs[0]}, r, {.pictures = &probe});
    const std::int64_t onePicture = probe.size();
    ASSERT_GT(onePicture, 0);

    // One worker, so that the pictures arrive in sheet order.
    PictureCache cache(onePicture * 5 / 2);
    detail::renderWithWorkers(inputs, r, {.pictures = &cache}, 1);
    EXPECT_LE(cache.size(), cache.capacity());
    EXPECT_EQ(cache.count(), 2);
    // The last two drawn stayed; the first is decoded again.
    detail::renderWithWorkers({inputs[5], inputs[0]}, r, {.pictures = &cache}, 1);
    EXPECT_EQ(cache.counts().decoded, 7);

    cache.setCapacity(onePicture);
    EXPECT_EQ(cache.count(), 1);
    cache.forget(inputs[0].url);
    EXPECT_EQ(cache.count(), 0);
    EXPECT_EQ(cache.size(), 0);
}

TEST(Render, StopsAtTheNextPictureOrPageOnceCancelled) {
    TemporaryFolder folder;
    // Pictures that take a while to decode, one per page, each file three times under other
    // names so that the cache decodes every one: the render is far from its end when the
    // first page is reported.
    auto inputs = twoTonePhotos(folder, 8, 3);
    for (int copy = 1; copy <= 2; ++copy) {
        for (std::size_t i = 0; i < 8; ++i) {
            SheetInput again = inputs[i];
            again.url =
                folder / ("copy-" + std::to_string(copy) + "-" + std::to_string(i) + ".jpg");
            std::filesystem::copy_file(inputs[i].url, again.url);
            inputs.push_back(again);
        }
    }
    SheetRecipe r = recipe(SheetPreset::contact);
    r.columns = 1;
    r.rows = 1;

    RenderCancellation before;
    before.cancel();
    PictureCache cache;
    EXPECT_THROW(TesselRenderer::render(inputs, r, {.pictures = &cache, .cancellation = &before}),
                 RenderCancelled);
    EXPECT_EQ(cache.counts().decoded, 0);

    // Cancelled when the first page is reported: each of the two workers may finish the
    // picture it has begun, and takes no other. How far the workers got before the report
    // reached this thread depends on the machine, so the count is taken right after.
    constexpr int workers = 2;
    RenderCancellation during;
    std::int64_t decodedWhenCancelled = -1;
    EXPECT_THROW(detail::renderWithWorkers(inputs, r,
                                           {.pictures = &cache,
                                            .cancellation = &during,
                                            .progress =
                                                [&](std::int64_t, std::int64_t) {
                                                    if (during.isCancelled()) return;
                                                    during.cancel();
                                                    decodedWhenCancelled = cache.counts().decoded;
                                                }},
                                           workers),
                 RenderCancelled);
    ASSERT_GE(decodedWhenCancelled, 1);
    EXPECT_LE(cache.counts().decoded, decodedWhenCancelled + workers);

    // A render that is never cancelled gives what a plain one gives.
    const RenderCancellation never;
    const auto small = photos(folder, 3);
    EXPECT_TRUE(TesselRenderer::render(small, r, {.cancellation = &never}) ==
                TesselRenderer::render(small, r));
}

}  // namespace
}  // namespace tessel
