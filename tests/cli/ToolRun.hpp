#pragma once
// Runs the built tessel-sheet in a private home, the way a user would from a shell.

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tessel::test {

/// What one run of the tool printed and how it ended.
struct ToolResult {
    int exitStatus = -1;
    std::string out;
    std::string err;
};

/// A scratch folder holding its own HOME, XDG_CACHE_HOME and XDG_DATA_HOME; removed at the end.
class ToolSandbox {
public:
    ToolSandbox();
    ~ToolSandbox();
    ToolSandbox(const ToolSandbox&) = delete;
    ToolSandbox& operator=(const ToolSandbox&) = delete;

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path cacheHome() const { return root_ / "cache"; }
    std::filesystem::path dataHome() const { return root_ / "data"; }
    /// The folder in which runs without --output-dir make their folders.
    std::filesystem::path shortcutsFolder() const;
    /// The folders made there so far, in no particular order.
    std::vector<std::filesystem::path> runFolders() const;

    /// Runs tessel-sheet with `arguments`, feeding `input` to its standard input.
    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = {}) const;

private:
    std::filesystem::path root_;
};

/// The lines of `text` without their line ends.
std::vector<std::string> lines(const std::string& text);

}  // namespace tessel::test
