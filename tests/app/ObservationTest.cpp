// The model's initial state and the observation rule.

#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "TestImages.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;

TEST(Model, StartsEmptyWithTheContactPreset) {
    Harness harness;
    const app::AppModel& model = harness.model();
    EXPECT_TRUE(model.items().empty());
    EXPECT_TRUE(model.selectedID().isNull());
    EXPECT_EQ(model.selectedItem(), std::nullopt);
    EXPECT_FALSE(model.isLoading() || model.isRendering() || model.isExporting() ||
                 model.isDropTargeted() || model.isUpdating() || model.isCheckingForUpdate());
    EXPECT_TRUE(model.recipe() == recipe(SheetPreset::contact));
    EXPECT_EQ(model.selectedPreset(), SheetPreset::contact);
    EXPECT_EQ(model.baseName(), QStringLiteral("Contact Sheet"));
    EXPECT_EQ(model.sort(), app::ImageSort::manual);
    EXPECT_EQ(model.previewResult(), std::nullopt);
    EXPECT_EQ(model.previewPage(), 0);
    EXPECT_EQ(model.previewTask(), 0u);  // nothing to render at start
    EXPECT_EQ(model.errorMessage(), std::nullopt);
    EXPECT_TRUE(model.lastExportedURLs().empty());
    EXPECT_EQ(model.pageCount(), 1);
    EXPECT_TRUE(model.currentPreviewData().isEmpty());
    EXPECT_FALSE(model.canExport());
    EXPECT_EQ(model.websiteURL(), QUrl(QStringLiteral("https://updates.orvane.com/tessel/")));
}

TEST(Observation, AnEqualValueNotifiesNobodyAndADifferentOneNotifiesOnce) {
    Harness harness;
    app::AppModel& model = harness.model();
    struct Case {
        const char* property;
        void (app::AppModel::*signal)();
        std::function<void()> assignSame, assignOther;
    };
    const QUuid someID = QUuid::createUuid();
    SheetRecipe other = model.recipe();
    other.captionColor = SheetColor::white();
    const Case cases[] = {
        {"selectedID", &app::AppModel::selectedIDChanged, [&] { model.setSelectedID({}); },
         [&] { model.setSelectedID(someID); }},
        {"recipe", &app::AppModel::recipeValueChanged,
         [&] { model.setRecipe(recipe(SheetPreset::contact)); }, [&] { model.setRecipe(other); }},
        {"selectedPreset", &app::AppModel::selectedPresetChanged,
         [&] { model.setSelectedPreset(SheetPreset::contact); },
         [&] { model.setSelectedPreset(std::nullopt); }},
        {"sort", &app::AppModel::sortChanged, [&] { model.setSort(app::ImageSort::manual); },
         [&] { model.setSort(app::ImageSort::date); }},
        {"baseName", &app::AppModel::baseNameChanged,
         [&] { model.setBaseName(QStringLiteral("Contact Sheet")); },
         [&] { model.setBaseName(QStringLiteral("Trip")); }},
        {"isDropTargeted", &app::AppModel::isDropTargetedChanged,
         [&] { model.setIsDropTargeted(false); }, [&] { model.setIsDropTargeted(true); }},
        {"errorMessage", &app::AppModel::errorMessageChanged,
         [&] { model.setErrorMessage(std::nullopt); },
         [&] { model.setErrorMessage(QString()); }},  // an empty message is still a message
    };
    for (const Case& c : cases) {
        QSignalSpy spy(&model, c.signal);
        c.assignSame();
        EXPECT_EQ(spy.count(), 0) << c.property;
        c.assignOther();
        c.assignOther();
        EXPECT_EQ(spy.count(), 1) << c.property;
    }
}

TEST(Observation, TheListNotifiesOnEveryChangeEvenWhenTheOrderStays) {
    Harness harness;
    writeImage(harness.path("a.png"));
    writeImage(harness.path("b.png"));
    harness.add({harness.path("a.png"), harness.path("b.png")});
    app::AppModel& model = harness.model();
    QSignalSpy items(&model, &app::AppModel::itemsChanged);
    QSignalSpy sort(&model, &app::AppModel::sortChanged);
    model.chooseSort(app::ImageSort::filename);  // already in that order
    EXPECT_EQ(items.count(), 1);
    model.chooseSort(app::ImageSort::filename);  // the same order chosen again
    EXPECT_EQ(items.count(), 2);
    EXPECT_EQ(sort.count(), 1);
    model.chooseSort(app::ImageSort::manual);  // manual leaves the list alone
    EXPECT_EQ(items.count(), 2);
    EXPECT_EQ(model.previewTask(), 4u);  // every choice refreshes the preview
}

TEST(Observation, TheSelectedItemFollowsTheList) {
    Harness harness;
    writeImage(harness.path("a.png"));
    harness.add({harness.path("a.png")});
    app::AppModel& model = harness.model();
    ASSERT_TRUE(model.selectedItem().has_value());
    EXPECT_EQ(model.selectedItem()->id, model.items()[0].id);
    const QUuid gone = QUuid::createUuid();
    model.setSelectedID(gone);
    EXPECT_EQ(model.selectedItem(), std::nullopt);
    EXPECT_EQ(model.selectedID(), gone);
}

}  // namespace
