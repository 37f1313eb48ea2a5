// Validation, the debounced preview, export naming and export failures.

#include <QImage>
#include <QSignalSpy>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "PrivateBus.hpp"
#include "TestImages.hpp"
#include "model/RecipeCheck.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

void addImages(Harness& harness, int count) {
    std::vector<fs::path> paths;
    for (int i = 0; i < count; ++i) {
        paths.push_back(harness.path("img" + std::to_string(i) + ".png"));
        writeImage(paths.back(), 40, 30, 40 * i % 256, 100, 150);
    }
    harness.add(paths);
}

TEST(Validation, ReportsTheFirstProblemInOrder) {
    const std::optional<QString> grid = QStringLiteral("Rows and columns must be at least 1.");
    const std::optional<QString> spacing =
        QStringLiteral("Margins and spacing cannot be negative.");
    const std::optional<QString> caption =
        QStringLiteral("Caption size must be between 8 and 72 pt.");
    const std::optional<QString> slash =
        QStringLiteral("The filename suffix cannot contain a slash.");
    struct Case {
        const char* what;
        void (*edit)(SheetRecipe&);
        std::optional<QString> message;
    };
    const Case cases[] = {
        {"valid", [](SheetRecipe&) {}, std::nullopt},
        {"columns 0 before a negative margin", [](SheetRecipe& r) { r.columns = 0, r.margin = -1; },
         grid},
        {"rows 0 before a bad caption", [](SheetRecipe& r) { r.rows = 0, r.captionFontSize = 100; },
         grid},
        {"margin -1", [](SheetRecipe& r) { r.margin = -1; }, spacing},
        {"spacing -1 before a slash", [](SheetRecipe& r) { r.spacing = -1, r.suffix = "a/b"; },
         spacing},
        {"caption 7.9", [](SheetRecipe& r) { r.captionFontSize = 7.9; }, caption},
        {"caption 72.1 with captions off",
         [](SheetRecipe& r) { r.captionFontSize = 72.1, r.caption = SheetCaption::none; }, caption},
        {"caption not a number", [](SheetRecipe& r) { r.captionFontSize = std::nan(""); }, caption},
        {"caption 8", [](SheetRecipe& r) { r.captionFontSize = 8; }, std::nullopt},
        {"caption 72", [](SheetRecipe& r) { r.captionFontSize = 72; }, std::nullopt},
        {"a title over a bad caption size",
         [](SheetRecipe& r) { r.title = "Trip", r.margin = 0, r.captionFontSize = 80; }, caption},
        {"page numbers in a margin of 29 before a slash",
         [](SheetRecipe& r) { r.pageNumbers = true, r.margin = 29, r.suffix = "a/b"; },
         QStringLiteral("The margin must be at least 30 px for page numbers.")},
        {"suffix a/b", [](SheetRecipe& r) { r.suffix = "a/b"; }, slash},
        {"1001 rows", [](SheetRecipe& r) { r.rows = 1001; },
         QStringLiteral("Rows and columns must be at most 1000.")},
        {"spacing 30001", [](SheetRecipe& r) { r.spacing = 30001; },
         QStringLiteral("Margins and spacing must be at most 30000 px.")},
        {"a custom page of no width",
         [](SheetRecipe& r) { r.paper = SheetPaper::custom, r.customWidth = 0; },
         QStringLiteral("A custom page must be from 1 to 30000 pixels each way.")},
        {"the same size on A4 paper", [](SheetRecipe& r) { r.customWidth = 0; }, std::nullopt},
        {"a margin that leaves no room", [](SheetRecipe& r) { r.margin = 5000; }, std::nullopt},
    };
    for (const Case& c : cases) {
        SheetRecipe recipe = tessel::recipe(SheetPreset::contact);
        c.edit(recipe);
        EXPECT_EQ(app::validationMessage(recipe, 0), c.message) << c.what;
    }
}

TEST(Validation, ARecipeTheLayoutRefusesIsReportedByThePreviewAndStillExportable) {
    Harness harness;
    addImages(harness, 1);
    app::AppModel& model = harness.model();
    model.editRecipe([](SheetRecipe& recipe) { recipe.margin = 5000; });
    EXPECT_EQ(model.validationMessage(), std::nullopt);
    harness.settle();
    EXPECT_EQ(model.errorMessage(),
              QStringLiteral("The page, grid, margins, or spacing leave no room for images.\n"
                             "Margins and spacing take 10056 of the 1240 pixels across the page, "
                             "which leaves too little room for the pictures."));
    EXPECT_TRUE(model.canExport());
}

TEST(Validation, AnInvalidRecipeClearsThePreviewAndDisablesExport) {
    Harness harness;
    addImages(harness, 1);
    harness.settle();
    app::AppModel& model = harness.model();
    ASSERT_TRUE(model.previewResult().has_value());
    model.editRecipe([](SheetRecipe& recipe) { recipe.columns = 0; });
    EXPECT_EQ(model.previewResult(), std::nullopt);
    EXPECT_FALSE(model.isRendering());
    EXPECT_FALSE(model.canExport());
}

TEST(Preview, TenQuickEditsRenderOnceWithTheLastRecipeAfterTheWait) {
    Harness harness;
    addImages(harness, 2);
    harness.settle();
    app::AppModel& model = harness.model();
    QSignalSpy renders(&model, &app::AppModel::previewRenderStarted);
    QSignalSpy results(&model, &app::AppModel::previewResultChanged);
    for (int i = 1; i <= 10; ++i)
        model.editRecipe([i](SheetRecipe& recipe) { recipe.spacing = 10 * i; });
    EXPECT_TRUE(model.isRendering());
    // Nothing is drawn until 280 ms after the last edit.
    QTest::qWait(150);
    EXPECT_EQ(renders.count(), 0);
    harness.settle();
    EXPECT_EQ(renders.count(), 1);
    EXPECT_EQ(results.count(), 1);
    EXPECT_EQ(model.previewTask(), 11u);  // one task for the batch of images, then ten
    const SheetRenderResult expected =
        TesselRenderer::render({{model.items()[0].url, model.items()[0].info},
                                {model.items()[1].url, model.items()[1].info}},
                               model.recipe());
    ASSERT_TRUE(model.previewResult().has_value());
    const auto image = [](const std::vector<std::uint8_t>& page) {
        return QImage::fromData(page.data(), static_cast<int>(page.size()))
            .convertToFormat(QImage::Format_RGB32);
    };
    EXPECT_EQ(image(model.previewResult()->pages.at(0)), image(expected.pages.at(0)));
}

TEST(Preview, AResultForAnOlderRecipeIsDropped) {
    Harness harness;
    addImages(harness, 1);
    app::AppModel& model = harness.model();
    QSignalSpy renders(&model, &app::AppModel::previewRenderStarted);
    ASSERT_TRUE(waitUntil([&] { return renders.count() == 1; }));
    // Edited without telling the model yet, while the render runs.
    SheetRecipe edited = model.recipe();
    edited.background = SheetColor::black();
    model.setRecipe(edited);
    model.waitForBackgroundWork();
    QCoreApplication::processEvents();
    EXPECT_EQ(model.previewResult(), std::nullopt);
    EXPECT_TRUE(model.isRendering());  // the next refresh settles it

    model.recipeChanged();
    harness.settle();
    ASSERT_TRUE(model.previewResult().has_value());
    EXPECT_FALSE(model.isRendering());
}

// Images added while a page is drawn: the page of the sheet without them never shows, even when
// it is finished before the new images reach the list.
TEST(Preview, APageOvertakenByAddedImagesLeavesNoTrace) {
    Harness harness;
    writeNoise(harness.path("large.jpg"), 5000, 3500);
    harness.add({harness.path("large.jpg")});
    app::AppModel& model = harness.model();
    QSignalSpy started(&model, &app::AppModel::previewRenderStarted);
    ASSERT_TRUE(waitUntil([&] { return started.count() == 1; }));
    std::vector<qint64> itemCounts;
    QObject::connect(&model, &app::AppModel::previewResultChanged, &model, [&] {
        if (model.previewResult()) itemCounts.push_back(model.previewResult()->itemCount);
    });
    writeImage(harness.path("small.png"));
    model.add({harness.path("small.png")});
    // The small file's header is read long before the large picture is decoded: the list takes
    // it first, then the finished page of the large one alone comes back.
    model.waitForBackgroundWork();
    harness.settle();
    EXPECT_THAT(itemCounts, ::testing::ElementsAre(2));
    EXPECT_EQ(model.errorMessage(), std::nullopt);
}

TEST(Preview, ARenderFailureKeepsTheEarlierPreview) {
    Harness harness;
    addImages(harness, 2);
    harness.settle();
    app::AppModel& model = harness.model();
    const auto earlier = model.previewResult();
    ASSERT_TRUE(earlier.has_value());
    writeText(model.items()[1].url, "overwritten by something that is not an image");
    model.editRecipe([](SheetRecipe& recipe) { recipe.spacing = 5; });
    harness.settle();
    EXPECT_EQ(model.errorMessage().value_or("").toStdString(),
              "img1.png could not be read.\nThe file is not an image.");
    EXPECT_TRUE(model.previewResult() == earlier);
}

TEST(Preview, AnEditDrawsThePicturesAlreadyDecodedUntilTheirImagesAreRemoved) {
    Harness harness;
    addImages(harness, 3);
    harness.settle();
    app::AppModel& model = harness.model();
    ASSERT_TRUE(model.previewResult().has_value());
    // The first preview decoded each picture once; the thumbnails were made from them.
    EXPECT_EQ(model.pictureCache().counts().decoded, 3);

    model.editRecipe([](SheetRecipe& recipe) { recipe.captionColor = SheetColor::black(); });
    harness.settle();
    EXPECT_EQ(model.pictureCache().counts().decoded, 3);
    EXPECT_EQ(model.pictureCache().count(), 3);

    model.setSelectedID(model.items()[1].id);
    model.removeSelected();
    EXPECT_EQ(model.pictureCache().count(), 2);
    harness.settle();
    model.removeAll();
    EXPECT_EQ(model.pictureCache().count(), 0);
}

TEST(Export, WritesTheSameBytesWhetherOrNotThePreviewDecodedThePictures) {
    Harness harness;
    std::vector<fs::path> paths;
    for (int i = 0; i < 3; ++i) {
        paths.push_back(harness.path("big" + std::to_string(i) + ".png"));
        writeImage(paths.back(), 1600, 1200, 60 * i, 100, 150);
    }
    harness.add(paths);
    harness.settle();
    app::AppModel& model = harness.model();
    // The preview reduces its cached pictures for the smaller cells; the export does not take
    // them.
    model.editRecipe([](SheetRecipe& recipe) {
        recipe.columns = 4;
        recipe.rows = 6;
        recipe.output = SheetOutputFormat::png;  // a PDF would differ in its date
    });
    harness.settle();
    const auto decodedBefore = model.pictureCache().counts().decoded;
    fs::create_directories(harness.path("out"));
    harness.dialogs.saveAnswers.push_back(harness.path("out") / "cached.png");
    model.exportSheet();
    harness.settle();
    ASSERT_THAT(model.lastExportedURLs(), ElementsAre(harness.path("out") / "cached.png"));
    EXPECT_EQ(model.pictureCache().counts().decoded, decodedBefore + 3);

    std::vector<SheetInput> inputs;
    for (const auto& item : model.items()) inputs.push_back({item.url, item.info});
    const SheetRenderResult plain = TesselRenderer::render(inputs, model.recipe());
    std::ifstream written(harness.path("out") / "cached.png", std::ios::binary);
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(written), {}};
    EXPECT_EQ(bytes, plain.pages.at(0));
}

TEST(Presets, ApplyingOneSetsItsRecipeAndClearsTheMarkerAgain) {
    Harness harness;
    app::AppModel& model = harness.model();
    EXPECT_EQ(model.selectedPreset(), SheetPreset::contact);
    model.applyPreset(SheetPreset::proof);
    EXPECT_TRUE(model.recipe() == recipe(SheetPreset::proof));
    EXPECT_EQ(model.selectedPreset(), std::nullopt);
}

TEST(Export, NamesFollowTheBaseNameAndTheSuffix) {
    struct Case {
        QString baseName;
        std::string suffix;
        SheetOutputFormat output;
        QString proposed;
        std::string chosen;
        QString nextBaseName;
        std::string written;
    };
    const Case cases[] = {
        {"Trip", "-sheet", SheetOutputFormat::pdf, "Trip-sheet.pdf", "Holiday-sheet.pdf", "Holiday",
         "Holiday-sheet.pdf"},
        {"Contact Sheet", "sheet", SheetOutputFormat::pdf, "Contact Sheetsheet.pdf",
         "sheetmusic-sheet.pdf", "music-", "sheetmusic-sheet.pdf"},
        {"Trip", "", SheetOutputFormat::jpeg, "Trip.jpg", "Trip sheet.jpg", "Trip sheet",
         "Trip sheet.jpg"},
    };
    for (const Case& c : cases) {
        Harness harness;
        addImages(harness, 1);
        app::AppModel& model = harness.model();
        model.setBaseName(c.baseName);
        model.editRecipe([&](SheetRecipe& recipe) {
            recipe.suffix = c.suffix;
            recipe.output = c.output;
        });
        harness.settle();
        fs::create_directories(harness.path("out"));
        harness.dialogs.saveAnswers.push_back(harness.path("out") / c.chosen);
        model.exportSheet();
        EXPECT_TRUE(model.isExporting());
        EXPECT_FALSE(model.canExport());
        harness.settle();

        ASSERT_EQ(harness.dialogs.savePanels.size(), 1u);
        EXPECT_EQ(harness.dialogs.savePanels[0].title, QStringLiteral("Export Contact Sheet"));
        EXPECT_EQ(harness.dialogs.savePanels[0].prompt, QStringLiteral("Export"));
        EXPECT_EQ(harness.dialogs.savePanels[0].proposedName, c.proposed);
        EXPECT_EQ(model.baseName(), c.nextBaseName);
        EXPECT_THAT(model.lastExportedURLs(), ElementsAre(harness.path("out") / c.written));
        EXPECT_TRUE(fs::is_regular_file(harness.path("out") / c.written));
        EXPECT_EQ(model.errorMessage(), std::nullopt);
    }
}

TEST(Export, ACancelledPanelChangesNothing) {
    Harness harness;
    addImages(harness, 1);
    harness.settle();
    app::AppModel& model = harness.model();
    model.exportSheet();
    EXPECT_EQ(harness.dialogs.savePanels.size(), 1u);
    EXPECT_FALSE(model.isExporting());
    EXPECT_EQ(model.baseName(), QStringLiteral("Contact Sheet"));
}

TEST(Export, IsNotOfferedWithoutImages) {
    Harness harness;
    harness.model().exportSheet();
    EXPECT_TRUE(harness.dialogs.savePanels.empty());
}

TEST(Export, AFailedExportSaysWhyAndKeepsTheEarlierFiles) {
    FileManagerOnBus fileManager;
    Harness harness;
    addImages(harness, 1);
    harness.settle();
    app::AppModel& model = harness.model();
    const fs::path first = harness.path("first.pdf");
    harness.dialogs.saveAnswers.push_back(first);
    model.exportSheet();
    harness.settle();
    ASSERT_THAT(model.lastExportedURLs(), ElementsAre(first));

    const fs::path taken = harness.path("taken-sheet.pdf");
    writeText(taken, "the user's own file");
    harness.dialogs.saveAnswers.push_back(taken);  // the panel asked, and the user confirmed
    model.exportSheet();
    harness.settle();
    EXPECT_EQ(model.errorMessage(),
              QStringLiteral("A file already exists at the destination.\n\"taken-sheet.pdf\" is "
                             "already in %1.")
                  .arg(QString::fromStdString(taken.parent_path().string())));
    model.setErrorMessage(std::nullopt);
    harness.dialogs.saveAnswers.push_back(harness.path(std::string(300, 'n') + ".pdf"));
    model.exportSheet();
    harness.settle();
    EXPECT_EQ(
        model.errorMessage(),
        QStringLiteral("The contact sheet could not be encoded.\nThe file name is too long."));
    EXPECT_THAT(model.lastExportedURLs(), ElementsAre(first));
    EXPECT_FALSE(model.isExporting());

    model.revealOutput();
    ASSERT_TRUE(waitUntil([&] { return !fileManager.calls().empty(); }));
    EXPECT_THAT(
        fileManager.calls()[0].uris,
        ElementsAre(QUrl::fromLocalFile(QString::fromStdString(first.string())).toString()));
}

}  // namespace
