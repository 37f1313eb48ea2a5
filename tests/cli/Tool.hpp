#pragma once
// Runs the built tessel-sheet in a private home, and makes and reads back its image files.

#include <array>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "PageBitmaps.hpp"

namespace tessel::test {

using Strings = std::vector<std::string>;
using RGB = std::array<std::uint8_t, 3>;

struct ToolResult {
    int exitStatus = -1;
    std::string out, err;
    friend bool operator==(const ToolResult&, const ToolResult&) = default;
    friend std::ostream& operator<<(std::ostream& os, const ToolResult& r) {
        return os << "exit " << r.exitStatus << "\nout: " << r.out << "\nerr: " << r.err;
    }
};

/// Runs `command` (a program and its arguments) in `folder` with `environment` ("NAME=value")
/// added to the test's own and `input` on its standard input, its output captured; a run that
/// hangs ends with status 124.
ToolResult runProgram(const std::filesystem::path& folder, const Strings& command,
                      const Strings& environment = {}, const std::string& input = {});

/// The tool's working folder, with HOME, XDG_CACHE_HOME and XDG_DATA_HOME in it.
class ToolSandbox {
public:
    const std::filesystem::path& root() const { return folder_.path(); }
    /// Where runs without --output-dir make their folders.
    std::filesystem::path shortcuts() const { return root() / "cache/com.orvane.Tessel/Shortcuts"; }
    ToolResult run(const Strings& arguments, const std::string& input = {}) const;
    /// The environment `run` adds: the sandbox's home, cache and data folders, no display
    /// and no session bus, the sanitizers' settings.
    Strings environment() const;
    /// Saves layouts of these names, each the square preset.
    void saveLayouts(const Strings& names) const;

private:
    testing::TemporaryFolder folder_;
};

Strings lines(const std::string& text);
/// The names in `folder`, sorted; none when it is missing.
Strings names(const std::filesystem::path& folder);
std::string fileBytes(const std::filesystem::path& file);

/// A `width` × `height` image of one colour (`frames` of them: an animation).
void writeImage(const std::filesystem::path& file, int width, int height, RGB color,
                int frames = 1);
std::vector<std::pair<double, double>> pdfPageSizes(const std::filesystem::path& file);
/// Width, height and the colour at (`x`, `y`) from the top left of a PNG or JPEG file.
using Picture = std::tuple<int, int, RGB>;
Picture readPicture(const std::filesystem::path& file, int x = 0, int y = 0);

}  // namespace tessel::test
