// The preview of a sheet of many pages: the page on screen is drawn first, its neighbours
// ahead of time, other pages when they are turned to; an edit costs the pages drawn, and
// stops drawing the pages nobody sees. Export and printing draw every page.

#include <QImage>
#include <QSignalSpy>
#include <QThread>
#include <QTimer>
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "TestImages.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

// `count` images of different colours, so that no two pages look alike.
void addImages(Harness& harness, int count, const std::string& extension = "png", int width = 40,
               int height = 30) {
    std::vector<fs::path> paths;
    for (int i = 0; i < count; ++i) {
        paths.push_back(harness.path("img" + std::to_string(100 + i) + "." + extension));
        writeImage(paths.back(), width, height, 255 * i / count, 100, 150);
    }
    harness.add(paths);
}

std::vector<SheetInput> inputsOf(const app::AppModel& model) {
    std::vector<SheetInput> inputs;
    for (const app::ImageItem& item : model.items()) inputs.push_back({item.url, item.info});
    return inputs;
}

std::vector<qint64> pagesDrawn(const app::AppModel& model) {
    std::vector<qint64> pages;
    for (const auto& page : model.previewResult()->pages) pages.push_back(page.first);
    return pages;
}

// A page as pixels: previews encode their pages for speed, exports for size.
QImage pixelsOf(const QByteArray& page) {
    return QImage::fromData(page).convertToFormat(QImage::Format_RGB32);
}

QImage pixelsOf(const std::vector<std::uint8_t>& page) {
    return pixelsOf(QByteArray(reinterpret_cast<const char*>(page.data()), std::ssize(page)));
}

void grid(app::AppModel& model, int columns, int rows) {
    model.editRecipe([&](SheetRecipe& recipe) {
        recipe.columns = columns;
        recipe.rows = rows;
    });
}

TEST(Pages, AreCountedFromTheLayoutAndThePageFollowsThemAtOnce) {
    Harness harness;
    app::AppModel& model = harness.model();
    EXPECT_EQ(model.pageCount(), 1);
    grid(model, 3, 2);
    addImages(harness, 7);
    EXPECT_EQ(model.pageCount(), 2);  // before anything is drawn
    EXPECT_FALSE(model.previewResult().has_value());
    harness.settle();
    EXPECT_EQ(model.previewResult()->pageCount, 2);

    model.previousPage();
    EXPECT_EQ(model.previewPage(), 0);
    model.nextPage();
    model.nextPage();
    EXPECT_EQ(model.previewPage(), 1);
    // Drawn ahead of time: the next page shows as soon as it is turned to.
    EXPECT_FALSE(model.currentPreviewData().isEmpty());
    EXPECT_FALSE(model.isRendering());

    // Fewer pages move the page back with the edit, not when the new pages arrive.
    grid(model, 4, 2);
    EXPECT_EQ(model.pageCount(), 1);
    EXPECT_EQ(model.previewPage(), 0);
    grid(model, 1, 1);
    harness.settle();
    model.nextPage();
    model.setSelectedID(model.items()[6].id);
    for (int removed = 0; removed < 6; ++removed) model.removeSelected();
    EXPECT_EQ(model.pageCount(), 1);
    EXPECT_EQ(model.previewPage(), 0);
    harness.settle();
    EXPECT_FALSE(model.currentPreviewData().isEmpty());
}

TEST(Pages, AnEditDecodesOnlyThePicturesOfThePagesDrawn) {
    Harness harness;
    app::AppModel& model = harness.model();
    grid(model, 2, 1);
    addImages(harness, 30);
    harness.settle();
    ASSERT_TRUE(model.previewResult().has_value());
    EXPECT_EQ(model.previewResult()->pageCount, 15);
    // The page on screen and the next, and nothing else, whatever the number of pages.
    EXPECT_THAT(pagesDrawn(model), ElementsAre(0, 1));
    EXPECT_EQ(model.pictureCache().counts().decoded, 4);
    EXPECT_EQ(pixelsOf(model.currentPreviewData()),
              pixelsOf(TesselRenderer::render(inputsOf(model), model.recipe()).pages[0]));

    model.editRecipe([](SheetRecipe& recipe) { recipe.captionColor = SheetColor::black(); });
    harness.settle();
    EXPECT_THAT(pagesDrawn(model), ElementsAre(0, 1));
    EXPECT_EQ(model.pictureCache().counts().decoded, 4);

    // Turning far draws that page at once and its neighbours after it; pages far from the
    // one on screen are let go.
    for (int turn = 0; turn < 7; ++turn) model.nextPage();
    EXPECT_EQ(model.previewPage(), 7);
    EXPECT_TRUE(model.isRendering());
    EXPECT_TRUE(model.currentPreviewData().isEmpty());
    harness.settle();
    EXPECT_FALSE(model.isRendering());
    EXPECT_THAT(pagesDrawn(model), ElementsAre(6, 7, 8));
    EXPECT_EQ(model.pictureCache().counts().decoded, 10);
    EXPECT_EQ(pixelsOf(model.currentPreviewData()),
              pixelsOf(TesselRenderer::render(inputsOf(model), model.recipe()).pages[7]));
}

TEST(Pages, AnEditStopsDrawingThePagesNobodySees) {
    Harness harness;
    app::AppModel& model = harness.model();
    grid(model, 4, 4);
    addImages(harness, 32, "jpg", 1200, 900);
    // As soon as the first page shows, the next one is drawn ahead; then the grid changes, and
    // none of that page's pictures is wanted at the size it was drawing them.
    std::int64_t decodedAtEdit = -1;
    QObject::connect(&model, &app::AppModel::previewResultChanged, &model, [&] {
        if (decodedAtEdit >= 0 || !model.previewResult()) return;
        decodedAtEdit = 0;
        QTimer::singleShot(0, &model, [&] {
            decodedAtEdit = model.pictureCache().counts().decoded;
            grid(model, 1, 1);
        });
    });
    harness.settle();
    ASSERT_GE(decodedAtEdit, 16);
    // The page drawn ahead stopped after the pictures its workers had begun; the new sheet
    // decoded the pictures of its page on screen and of the next one.
    const std::int64_t workers = std::clamp(QThread::idealThreadCount(), 1, 8);
    EXPECT_LE(model.pictureCache().counts().decoded, decodedAtEdit + workers + 2);
    EXPECT_EQ(model.previewResult()->pageCount, 32);
    EXPECT_THAT(pagesDrawn(model), ElementsAre(0, 1));
}

TEST(Pages, APageThatFailsAheadOfTimeSaysWhyWhenTurnedTo) {
    Harness harness;
    app::AppModel& model = harness.model();
    grid(model, 1, 1);
    addImages(harness, 3);
    // Spoilt after it was listed, before the preview draws it.
    writeText(model.items()[1].url, "no longer an image");
    harness.settle();
    EXPECT_THAT(pagesDrawn(model), ElementsAre(0));
    EXPECT_EQ(model.errorMessage(), std::nullopt);
    model.nextPage();
    harness.settle();
    EXPECT_EQ(model.errorMessage().value_or("").toStdString(),
              "img101.png could not be read.\nThe file is not an image.");
    EXPECT_TRUE(model.currentPreviewData().isEmpty());
    EXPECT_FALSE(model.isRendering());
}

TEST(Export, ReportsItsPagesAndCanBeStoppedWithNothingWritten) {
    Harness harness;
    app::AppModel& model = harness.model();
    grid(model, 1, 1);
    addImages(harness, 6);
    harness.settle();
    fs::create_directories(harness.path("out"));

    std::vector<app::PageProgress> reported;
    QObject::connect(&model, &app::AppModel::exportProgressChanged, &model, [&] {
        if (model.exportProgress()) reported.push_back(*model.exportProgress());
    });
    harness.dialogs.saveAnswers.push_back(harness.path("out") / "all.pdf");
    model.exportSheet();
    harness.settle();
    EXPECT_THAT(model.lastExportedURLs(), ElementsAre(harness.path("out") / "all.pdf"));
    ASSERT_FALSE(reported.empty());
    EXPECT_EQ(reported.front(), (app::PageProgress{0, 6}));
    EXPECT_EQ(reported.back(), (app::PageProgress{6, 6}));
    EXPECT_EQ(model.exportProgress(), std::nullopt);

    // Stopped while its pages are drawn (six pages take far longer than this call).
    harness.dialogs.saveAnswers.push_back(harness.path("out") / "stopped.pdf");
    model.exportSheet();
    model.cancelExport();
    EXPECT_TRUE(model.isExporting());  // until the render has stopped
    harness.settle();
    EXPECT_FALSE(model.isExporting());
    EXPECT_EQ(model.errorMessage(), std::nullopt);
    EXPECT_FALSE(fs::exists(harness.path("out") / "stopped.pdf"));
    EXPECT_EQ(std::distance(fs::directory_iterator(harness.path("out")), {}), 1);
    EXPECT_THAT(model.lastExportedURLs(), ElementsAre(harness.path("out") / "all.pdf"));
}

}  // namespace
