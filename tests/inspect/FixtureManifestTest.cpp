// Inspection of the real-world corpus described by MANIFEST.tsv: displayed sizes, frame
// counts, capture dates and models as recorded there, and every damaged file refused by name.

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

namespace {

using tessel::TesselError;
namespace TesselRenderer = tessel::TesselRenderer;

struct Row {
    std::string path;
    std::string format;
    std::int64_t displayedWidth = 0;
    std::int64_t displayedHeight = 0;
    std::int64_t frameCount = 0;
    std::string dateTimeOriginal;
    std::string model;
    std::string notes;
};

std::vector<std::string> splitTabs(const std::string& line) {
    std::vector<std::string> fields;
    std::string field;
    std::istringstream stream(line);
    while (std::getline(stream, field, '\t')) fields.push_back(field);
    if (!line.empty() && line.back() == '\t') fields.emplace_back();
    return fields;
}

std::int64_t number(const std::string& text) { return text.empty() ? 0 : std::stoll(text); }

std::vector<Row> readManifest(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);  // header
    std::vector<Row> rows;
    while (std::getline(stream, line)) {
        const auto f = splitTabs(line);
        if (f.size() < 13) continue;
        rows.push_back({f[0], f[3], number(f[7]), number(f[8]), number(f[9]), f[10], f[11], f[12]});
    }
    return rows;
}

class FixtureManifest : public ::testing::Test {
protected:
    void SetUp() override {
        root_ = TESSEL_FIXTURES_DIR;
        if (!std::filesystem::exists(root_ / "MANIFEST.tsv")) {
            GTEST_SKIP() << "no fixture corpus at " << root_;
        }
        rows_ = readManifest(root_ / "MANIFEST.tsv");
        ASSERT_FALSE(rows_.empty());
    }

    std::filesystem::path root_;
    std::vector<Row> rows_;
};

bool expectsError(const Row& row) { return row.notes.find("EXPECT ERROR") != std::string::npos; }

TEST_F(FixtureManifest, DamagedFilesAreRefusedByName) {
    int refused = 0;
    for (const Row& row : rows_) {
        if (!expectsError(row)) continue;
        SCOPED_TRACE(row.path);
        const std::string name = std::filesystem::path(row.path).filename().string();
        try {
            TesselRenderer::inspect(root_ / row.path);
            ADD_FAILURE() << "accepted";
        } catch (const TesselError& error) {
            EXPECT_EQ(error.text(), name);
            EXPECT_EQ(error.errorDescription().rfind(name, 0), 0u);
            ++refused;
        }
    }
    std::cout << "[ manifest ] damaged files refused: " << refused << "\n";
    EXPECT_GT(refused, 0);
}

TEST_F(FixtureManifest, ReadableFilesMatchTheirRows) {
    int accepted = 0;
    int multiFrame = 0;
    for (const Row& row : rows_) {
        if (expectsError(row)) continue;
        SCOPED_TRACE(row.path);
        const std::string name = std::filesystem::path(row.path).filename().string();
        // Frame counts hold for every row, including the cases libvips miscounts alone:
        // APNG, HEIF grids and overlays with visible inputs, HEIF image sequences.
        const std::int64_t expectedFrames = row.frameCount;
        if (expectedFrames != 1) {
            try {
                TesselRenderer::inspect(root_ / row.path);
                ADD_FAILURE() << "accepted a file of " << expectedFrames << " frames";
            } catch (const TesselError& error) {
                EXPECT_EQ(error, TesselError::multiFrame(name, expectedFrames))
                    << error.errorDescription();
                ++multiFrame;
            }
            continue;
        }
        try {
            const tessel::SheetImageInfo info = TesselRenderer::inspect(root_ / row.path);
            EXPECT_EQ(info.width, row.displayedWidth);
            EXPECT_EQ(info.height, row.displayedHeight);
            EXPECT_EQ(info.frameCount, 1);
            EXPECT_EQ(info.bytes,
                      static_cast<std::int64_t>(std::filesystem::file_size(root_ / row.path)));
            EXPECT_EQ(info.dateTaken, TesselRenderer::parseExifDate(row.dateTimeOriginal))
                << "raw date '" << row.dateTimeOriginal << "'";
            if (row.model.empty()) {
                EXPECT_EQ(info.cameraModel, std::nullopt);
            } else {
                EXPECT_EQ(info.cameraModel, row.model);
            }
            ++accepted;
        } catch (const TesselError& error) {
            ADD_FAILURE() << error.errorDescription();
        }
    }
    std::cout << "[ manifest ] accepted " << accepted << ", refused as multi-frame " << multiFrame
              << "\n";
}

}  // namespace
