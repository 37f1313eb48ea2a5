#pragma once
/// The desktop's file viewer, asked to show files selected in their folder. The application's
/// implementation is `DBusFileViewer`.

#include <filesystem>
#include <vector>

namespace tessel::app {

class FileViewer {
public:
    virtual ~FileViewer() = default;

    /// Shows `files` selected in the file viewer; nothing for an empty list. Best effort:
    /// returns at once, never throws, and reports no failure.
    virtual void showItems(const std::vector<std::filesystem::path>& files) = 0;

protected:
    FileViewer() = default;
    FileViewer(const FileViewer&) = default;
    FileViewer& operator=(const FileViewer&) = default;
};

}  // namespace tessel::app
