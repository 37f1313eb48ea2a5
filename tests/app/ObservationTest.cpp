// The model's initial state and the observation rule.

#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "TestImages.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;

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
