// The image list: adding, selection, reordering, sorting and removal.

#include <QBuffer>
#include <QImage>
#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tessel/SharedThumbnails.hpp"

#include "AppHarness.hpp"
#include "PrivateBus.hpp"
#include "TestImages.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using app::ImageSort;
using ::testing::ElementsAre;

const QString nothingFound = QStringLiteral("No supported static images were found.");

std::vector<std::string> names(const app::AppModel& model) {
    std::vector<std::string> out;
    for (const app::ImageItem& item : model.items()) out.push_back(item.url.filename().string());
    return out;
}

std::string selectedName(const app::AppModel& model) {
    const auto item = model.selectedItem();
    return item ? item->url.filename().string() : std::string("(none)");
}

// Four plain images a.png ... d.png (or the given names) added in one batch.
std::vector<fs::path> addImages(Harness& harness, std::vector<std::string> files = {
                                                      "a.png", "b.png", "c.png", "d.png"}) {
    std::vector<fs::path> paths;
    for (const std::string& name : files) {
        paths.push_back(harness.path(name));
        writeImage(paths.back());
    }
    harness.add(paths);
    return paths;
}

// Which files a folder yields is ImageFiles' (tests/files); here what the model makes of them.
TEST(Adding, AFolderBringsItsImagesInPathOrderWithInfoAndThumbnails) {
    Harness harness;
    const fs::path folder = harness.path("Shoot");
    fs::create_directories(folder / "Sub");
    writeImage(folder / "b.JPG");
    writeImage(folder / "a.png");
    writeImage(folder / "Sub" / "c.tif");

    harness.add({folder});
    const app::AppModel& model = harness.model();
    EXPECT_THAT(names(model), ElementsAre("a.png", "b.JPG", "c.tif"));
    EXPECT_EQ(model.items()[2].url, folder / "Sub" / "c.tif");
    EXPECT_EQ(model.items()[0].info.width, 40);
    EXPECT_EQ(selectedName(model), "a.png");
    EXPECT_FALSE(model.isLoading());
    EXPECT_EQ(model.errorMessage(), std::nullopt);
}

// Rows appear as soon as their headers are read; thumbnails follow, the rows on screen first
// (rows 30 and 31 here: the first rows wait for the pages the preview draws, whose pictures
// their thumbnails are made from).
TEST(Adding, TheListIsCompleteBeforeItsThumbnailsWhichComeRowsOnScreenFirst) {
    Harness harness;
    app::AppModel& model = harness.model();
    model.showingRows(30, 31);
    std::vector<fs::path> files;
    for (int i = 0; i < 40; ++i) {
        files.push_back(harness.path("img" + std::to_string(100 + i) + ".png"));
        writeImage(files.back(), 40, 30, 6 * i, 100, 150);
    }
    const auto withThumbnails = [&] {
        return std::ranges::count_if(model.items(), [](const app::ImageItem& item) {
            return !item.thumbnailData.isEmpty();
        });
    };
    std::ptrdiff_t listed = -1, thumbnailsWhenListed = -1;
    bool shownRowsFirst = true;
    QObject::connect(&model, &app::AppModel::isLoadingChanged, &model, [&] {
        if (model.isLoading()) return;
        listed = std::ssize(model.items());
        thumbnailsWhenListed = withThumbnails();
    });
    QObject::connect(&model, &app::AppModel::itemsChanged, &model, [&] {
        if (withThumbnails() > 0 &&
            (model.items().size() < 32 || model.items()[30].thumbnailData.isEmpty() ||
             model.items()[31].thumbnailData.isEmpty()))
            shownRowsFirst = false;
    });
    harness.add(files);
    harness.settle();
    EXPECT_EQ(listed, 40);
    EXPECT_EQ(thumbnailsWhenListed, 0);
    EXPECT_TRUE(shownRowsFirst);
    EXPECT_EQ(withThumbnails(), 40);
    const QImage thumbnail = QImage::fromData(model.items()[0].thumbnailData);
    EXPECT_EQ(thumbnail.size(), QSize(40, 30));
}

// A photo the desktop has a thumbnail of shows that one, undecoded (the cache's is blue, the
// photo red); the thumbnails the list makes go into the cache for the desktop.
TEST(Adding, ThumbnailsComeFromTheDesktopsCacheAndGoIntoIt) {
    Harness harness;
    const fs::path cached = harness.path("cached.png"), made = harness.path("made.png");
    writeImage(cached, 40, 30, 200, 20, 20);
    writeImage(made, 40, 30, 20, 200, 20);
    const SharedThumbnails shared;
    QByteArray blue;
    QBuffer buffer(&blue);
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(QColor(20, 20, 200));
    picture.save(&buffer, "PNG");
    ASSERT_TRUE(
        shared.store(shared.find(cached, 320), {reinterpret_cast<const std::uint8_t*>(blue.data()),
                                                static_cast<std::size_t>(blue.size())}));

    harness.add({cached, made});
    harness.settle();
    const auto colour = [&](std::size_t row) {
        return QImage::fromData(harness.model().items()[row].thumbnailData).pixelColor(20, 15);
    };
    EXPECT_GT(colour(0).blue(), 180);
    EXPECT_GT(colour(1).green(), 180);
    EXPECT_TRUE(shared.find(made, 320).thumbnail);
}

// Within one batch a folder and a file inside it both count; a later batch adds only what is
// not listed yet, whatever the spelling.
TEST(Adding, DuplicatesAreDroppedAcrossBatchesOnly) {
    Harness harness;
    const fs::path folder = harness.path("Shoot");
    fs::create_directories(folder);
    writeImage(folder / "a.png");
    harness.add({folder, folder / "a.png"});
    const auto& items = harness.model().items();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_NE(items[0].id, items[1].id);
    harness.add({folder / "." / "a.png"});
    EXPECT_EQ(harness.model().items().size(), 2u);
    EXPECT_EQ(harness.model().errorMessage(), nothingFound);
}

// Files that cannot be used stay out of the list without an alert; the batch keeps them, with
// why, for the files pane's note. Only a batch that adds nothing says so, and why.
TEST(Adding, UnusableFilesAreSkippedAndKeptWithWhyUntilTheNextBatch) {
    Harness harness;
    app::AppModel& model = harness.model();
    const fs::path folder = harness.path("Shoot");
    fs::create_directories(folder);
    writeAnimation(folder / "loop.webp", 3);
    writeText(folder / "broken.jpg", "not a JPEG");
    writeImage(folder / "still.png");
    const auto skipped = [&] {
        std::vector<std::pair<std::string, std::string>> files;
        for (const app::SkippedFile& file : model.skippedFiles())
            files.emplace_back(file.url.filename().string(), file.reason().toStdString());
        return files;
    };
    const std::string frames =
        "loop.webp contains 3 frames. Tessel never discards frames silently.";

    harness.add({folder});
    EXPECT_THAT(names(model), ElementsAre("still.png"));
    EXPECT_EQ(model.errorMessage(), std::nullopt);
    EXPECT_THAT(skipped(), ElementsAre(std::pair("broken.jpg", "The file is not an image."),
                                       std::pair("loop.webp", frames)));

    harness.add({folder / "loop.webp"});
    EXPECT_THAT(skipped(), ElementsAre(std::pair("loop.webp", frames)));
    EXPECT_EQ(model.errorMessage(), nothingFound + u'\n' + QString::fromStdString(frames));
    harness.add({folder / "still.png"});  // listed already: nothing skipped, nothing new
    EXPECT_THAT(skipped(), ElementsAre());
    EXPECT_EQ(model.errorMessage(), nothingFound);
}

TEST(Adding, IsRefusedWhileExporting) {
    Harness harness;
    addImages(harness);
    harness.settle();
    harness.dialogs.saveAnswers.push_back(harness.path("out.pdf"));
    app::AppModel& model = harness.model();
    model.exportSheet();
    ASSERT_TRUE(model.isExporting());
    writeImage(harness.path("e.png"));
    model.add(std::vector<fs::path>{harness.path("e.png")});
    model.removeSelected();
    model.removeAll();
    EXPECT_FALSE(model.isLoading());
    EXPECT_EQ(model.items().size(), 4u);
    harness.settle();
}

TEST(Selection, AddingSelectsTheFirstNewFileInScanOrderOnlyWithoutASelection) {
    Harness harness;
    app::AppModel& model = harness.model();
    model.chooseSort(ImageSort::date);
    writeDatedJpeg(harness.path("a.jpg"), "2024:05:17 14:03:09");
    writeImage(harness.path("b.jpg"));  // undated, so sorted first
    harness.add({harness.path("a.jpg"), harness.path("b.jpg")});
    EXPECT_THAT(names(model), ElementsAre("b.jpg", "a.jpg"));
    EXPECT_EQ(selectedName(model), "a.jpg");

    writeImage(harness.path("c.png"));
    harness.add({harness.path("c.png")});
    EXPECT_EQ(selectedName(model), "a.jpg");
}

TEST(Selection, RemovingSelectsTheItemThatTookItsPlace) {
    struct Case {
        int selected;
        std::vector<std::string> left;
        std::string selectedAfter;
    };
    for (const Case& c :
         {Case{1, {"a.png", "c.png"}, "c.png"}, Case{2, {"a.png", "b.png"}, "b.png"},
          Case{0, {"b.png", "c.png"}, "b.png"}}) {
        Harness harness;
        addImages(harness, {"a.png", "b.png", "c.png"});
        app::AppModel& model = harness.model();
        model.setSelectedID(model.items()[static_cast<std::size_t>(c.selected)].id);
        model.removeSelected();
        EXPECT_EQ(names(model), c.left);
        EXPECT_EQ(selectedName(model), c.selectedAfter);
    }

    Harness harness;
    addImages(harness, {"a.png"});
    harness.model().removeSelected();
    EXPECT_TRUE(harness.model().items().empty());
    EXPECT_TRUE(harness.model().selectedID().isNull());
}

TEST(Reordering, MoveSelectedSwapsAndSwitchesToManualOrder) {
    Harness harness;
    addImages(harness);
    app::AppModel& model = harness.model();
    model.chooseSort(ImageSort::filename);
    model.setSelectedID(model.items()[0].id);

    model.moveSelected(2);  // a trades places with c; b stays put
    EXPECT_THAT(names(model), ElementsAre("c.png", "b.png", "a.png", "d.png"));
    EXPECT_EQ(selectedName(model), "a.png");
    EXPECT_EQ(model.sort(), ImageSort::manual);

    model.moveSelected(1'000'000);  // clamped to the last place
    EXPECT_THAT(names(model), ElementsAre("c.png", "b.png", "d.png", "a.png"));

    model.chooseSort(ImageSort::filename);  // a move past either end changes nothing
    QSignalSpy itemsChanged(&model, &app::AppModel::itemsChanged);
    model.setSelectedID(model.items()[0].id);
    model.moveSelected(-1);
    model.setSelectedID(model.items()[3].id);
    model.moveSelected(1);
    EXPECT_EQ(itemsChanged.count(), 0);
    EXPECT_EQ(model.sort(), ImageSort::filename);
}

TEST(Sorting, ByDatePutsUndatedImagesFirstAndKeepsTies) {
    Harness harness;
    const std::vector<std::pair<std::string, std::string>> files = {
        {"1-late.jpg", "2024:01:02 10:00:00"}, {"2-undated.jpg", ""},
        {"3-tie.jpg", "2023:06:01 08:00:00"},  {"4-early.jpg", "2020:01:01 00:00:00"},
        {"5-tie.jpg", "2023:06:01 08:00:00"},  {"6-undated.jpg", ""}};
    std::vector<fs::path> paths;
    for (const auto& [name, date] : files) {
        paths.push_back(harness.path(name));
        if (date.empty())
            writeImage(paths.back());
        else
            writeDatedJpeg(paths.back(), date);
    }
    harness.add(paths);
    app::AppModel& model = harness.model();
    for (int again = 0; again < 2; ++again) {  // applying again never shuffles ties
        model.chooseSort(ImageSort::date);
        EXPECT_THAT(names(model), ElementsAre("2-undated.jpg", "6-undated.jpg", "4-early.jpg",
                                              "3-tie.jpg", "5-tie.jpg", "1-late.jpg"));
    }
}

TEST(Revealing, ShowsTheSelectedFileInTheFileViewer) {
    FileManagerOnBus fileManager;
    Harness harness;
    const auto paths = addImages(harness, {"a b.png", "c.png"});
    harness.model().revealSelected();
    ASSERT_TRUE(waitUntil([&] { return !fileManager.calls().empty(); }));
    EXPECT_THAT(fileManager.calls()[0].uris,
                ElementsAre(QUrl::fromLocalFile(QString::fromStdString(paths[0].string()))
                                .toString(QUrl::FullyEncoded)));
    EXPECT_EQ(fileManager.calls()[0].startupId, QString());
}

}  // namespace
