// Saved layouts through the model.

#include <QSignalSpy>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "TestImages.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;

std::string contents(const fs::path& file) {
    std::stringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

std::vector<std::string> layoutNames(const std::vector<SavedLayout>& layouts) {
    std::vector<std::string> names;
    for (const SavedLayout& layout : layouts) names.push_back(layout.name);
    return names;
}

TEST(SavedLayouts, NamesAreTrimmedAndBlankNamesSaveNothing) {
    Harness harness;
    app::AppModel& model = harness.model();
    model.saveCurrentLayout(QStringLiteral(" \n\t "));
    EXPECT_TRUE(model.savedLayouts().empty());
    EXPECT_FALSE(fs::exists(harness.layoutsFile()));

    model.saveCurrentLayout(QStringLiteral("  Trip \n"));
    ASSERT_EQ(model.savedLayouts().size(), 1u);
    EXPECT_EQ(model.savedLayouts()[0].name, "Trip");
    EXPECT_TRUE(model.savedLayouts()[0].recipe == model.recipe());
    const QString id = QString::fromStdString(model.savedLayouts()[0].id);
    EXPECT_EQ(id, QUuid::fromString(id).toString(QUuid::WithoutBraces).toUpper());
}

TEST(SavedLayouts, RepeatedNamesAreKeptInSavingOrderAcrossARestart) {
    Harness harness;
    app::AppModel& model = harness.model();
    EXPECT_FALSE(fs::exists(harness.layoutsFile().parent_path()));
    model.saveCurrentLayout(QStringLiteral("Trip"));
    model.editRecipe([](SheetRecipe& recipe) { recipe.columns = 5; });
    model.saveCurrentLayout(QStringLiteral("Trip"));
    model.saveCurrentLayout(QStringLiteral("Wide"));
    EXPECT_TRUE(fs::is_regular_file(harness.layoutsFile()));  // its folder made on first save
    const std::vector<SavedLayout> saved = model.savedLayouts();
    ASSERT_EQ(saved.size(), 3u);
    EXPECT_NE(saved[0].id, saved[1].id);
    EXPECT_EQ(saved[1].recipe.columns, 5);

    app::AppModel& restarted = harness.restart();
    EXPECT_EQ(restarted.savedLayouts(), saved);
    EXPECT_THAT(layoutNames(restarted.savedLayouts()),
                ::testing::ElementsAre("Trip", "Trip", "Wide"));
}

TEST(SavedLayouts, AFileWithOneBadElementLoadsNothingAndIsReplacedOnTheNextSave) {
    Harness harness;
    const std::string good = encodeSavedLayouts(
        {{"8F0C4A8E-6C1D-4A43-9E53-2B8F3E0C1D2A", "Kept", recipe(SheetPreset::square)}});
    const std::string bad = R"({"id":"0E1A4C2B-1111-4222-8333-944455556666","name":"No recipe"})";
    fs::create_directories(harness.layoutsFile().parent_path());
    std::ofstream(harness.layoutsFile())
        << "[" << good.substr(1, good.size() - 2) << "," << bad << "]";

    app::AppModel& model = harness.model();
    EXPECT_TRUE(model.savedLayouts().empty());
    model.saveCurrentLayout(QStringLiteral("Fresh"));
    const std::vector<SavedLayout> onDisk = loadSavedLayouts(harness.layoutsFile());
    ASSERT_EQ(onDisk.size(), 1u);
    EXPECT_EQ(onDisk[0].name, "Fresh");
    EXPECT_EQ(contents(harness.layoutsFile()), encodeSavedLayouts(model.savedLayouts()));
}

TEST(SavedLayouts, ApplyingOneReplacesTheWholeRecipeAndTheExportProposal) {
    Harness harness;
    writeImage(harness.path("a.png"));
    harness.add({harness.path("a.png")});
    app::AppModel& model = harness.model();
    SheetRecipe web = recipe(SheetPreset::square);
    web.output = SheetOutputFormat::png;
    web.suffix = "-web";
    const SavedLayout layout{"8F0C4A8E-6C1D-4A43-9E53-2B8F3E0C1D2A", "Web", web};
    model.setBaseName(QStringLiteral("Trip"));

    model.applyLayout(layout);
    EXPECT_TRUE(model.recipe() == web);
    EXPECT_EQ(model.selectedPreset(), std::nullopt);
    EXPECT_TRUE(model.isRendering());
    harness.settle();
    model.exportSheet();  // the panel is cancelled
    ASSERT_EQ(harness.dialogs.savePanels.size(), 1u);
    EXPECT_EQ(harness.dialogs.savePanels[0].proposedName, QStringLiteral("Trip-web.png"));
    EXPECT_EQ(model.baseName(), QStringLiteral("Trip"));
}

}  // namespace
