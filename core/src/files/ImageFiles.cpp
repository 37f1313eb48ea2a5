#include "tessel/ImageFiles.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <system_error>

namespace tessel {
namespace {

namespace fs = std::filesystem;

// Folders that macOS and its photo tools present as single documents. Their insides are not
// the user's pictures (previews, caches, resources), so a folder scan leaves them alone.
constexpr std::array<std::string_view, 6> packageExtensions{"app",           "bundle", "framework",
                                                            "photoslibrary", "plugin", "pkg"};

std::string lowerExtension(const fs::path& path) {
    std::string ext = path.extension().string();
    if (!ext.empty()) ext.erase(0, 1);
    std::ranges::transform(ext, ext.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

bool hasSupportedExtension(const fs::path& path) {
    const std::string ext = lowerExtension(path);
    return std::ranges::find(TesselRenderer::supportedExtensions, ext) !=
           std::end(TesselRenderer::supportedExtensions);
}

bool isHidden(const fs::path& path) { return path.filename().native().starts_with('.'); }

bool isPackage(const fs::path& path) {
    return std::ranges::find(packageExtensions, lowerExtension(path)) != packageExtensions.end();
}

void scanFolder(const fs::path& folder, std::vector<fs::path>& found) {
    std::error_code ec;
    fs::recursive_directory_iterator it(folder, fs::directory_options::none, ec);
    if (ec) return;
    for (const fs::recursive_directory_iterator end; it != end; it.increment(ec)) {
        if (ec) return;
        const fs::directory_entry& entry = *it;
        const fs::path& path = entry.path();
        if (isHidden(path)) {
            it.disable_recursion_pending();
            continue;
        }
        // Directory symlinks are not followed (the iterator's default), so loops cannot occur.
        const bool isFolder = entry.is_directory(ec) && !entry.is_symlink(ec);
        if (ec) return;
        if (isFolder) {
            if (isPackage(path)) it.disable_recursion_pending();
            continue;
        }
        const bool regular = entry.is_regular_file(ec);
        if (ec) {
            // A dangling symbolic link has no status; it is simply not an image.
            if (entry.is_symlink()) {
                ec.clear();
                continue;
            }
            return;
        }
        if (regular && hasSupportedExtension(path)) found.push_back(path);
    }
}

}  // namespace

std::vector<fs::path> imageFiles(const std::vector<fs::path>& locations) {
    std::vector<fs::path> found;
    for (const fs::path& location : locations) {
        std::error_code ec;
        if (fs::is_directory(location, ec)) {
            scanFolder(location, found);
        } else if (hasSupportedExtension(location)) {
            found.push_back(location);
        }
    }
    std::ranges::stable_sort(found, [](const fs::path& a, const fs::path& b) {
        return naturalLess(a.native(), b.native());
    });
    return found;
}

void sortByFilename(std::vector<SheetInput>& inputs) {
    std::ranges::stable_sort(inputs, [](const SheetInput& a, const SheetInput& b) {
        return naturalLess(a.url.filename().native(), b.url.filename().native());
    });
}

void sortByDate(std::vector<SheetInput>& inputs) {
    std::ranges::stable_sort(inputs, [](const SheetInput& a, const SheetInput& b) {
        const auto& da = a.info.dateTaken;
        const auto& db = b.info.dateTaken;
        if (!db) return false;
        if (!da) return true;
        return *da < *db;
    });
}

}  // namespace tessel
