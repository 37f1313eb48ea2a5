// Inspection of the real-world corpus described by MANIFEST.tsv: displayed sizes, frame
// counts, capture dates and models as recorded there, and every damaged file refused by name.

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

namespace {

using tessel::TesselError;
namespace TesselRenderer = tessel::TesselRenderer;

struct Row {
    std::string path, dateTimeOriginal, model;
    std::int64_t displayedWidth = 0, displayedHeight = 0, frameCount = 0;
    bool expectsError = false;  // notes say "EXPECT ERROR"
};

class FixtureManifest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(root_ / "MANIFEST.tsv")) {
            GTEST_SKIP() << "no fixture corpus at " << root_;
        }
        const auto number = [](const std::string& text) {
            return text.empty() ? std::int64_t{0} : std::stoll(text);
        };
        std::ifstream stream(root_ / "MANIFEST.tsv");
        std::string line;
        std::getline(stream, line);  // header
        while (std::getline(stream, line)) {
            std::vector<std::string> f;
            std::istringstream fields(line + '\t');  // keeps a trailing empty field
            for (std::string field; std::getline(fields, field, '\t');) f.push_back(field);
            if (f.size() < 13) continue;
            rows_.push_back({f[0], f[10], f[11], number(f[7]), number(f[8]), number(f[9]),
                             f[12].find("EXPECT ERROR") != std::string::npos});
        }
        ASSERT_FALSE(rows_.empty());
    }

    const std::filesystem::path root_ = TESSEL_FIXTURES_DIR;
    std::vector<Row> rows_;
};

TEST_F(FixtureManifest, DamagedFilesAreRefusedByName) {
    int refused = 0;
    for (const Row& row : rows_) {
        if (!row.expectsError) continue;
        SCOPED_TRACE(row.path);
        const std::string name = std::filesystem::path(row.path).filename().string();
        try {
            TesselRenderer::inspect(root_ / row.path);
            ADD_FAILURE() << "accepted";
        } catch (const TesselError& error) {
            EXPECT_EQ(error.text(), name);
            EXPECT_EQ(error.errorDescription().rfind(name, 0), 0u);
            // Every unreadable file says why; a frame count says it by itself.
            if (error.kind() == TesselError::Kind::cannotRead) {
                EXPECT_NE(error.cause(), "");
            }
            std::cout << "[ manifest ] " << name << ": " << error.cause() << "\n";
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
        if (row.expectsError) continue;
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
