#include "tessel/ImageFiles.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <system_error>
#include <unordered_map>

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

bool isRaw(const fs::path& path) {
    return std::ranges::find(TesselRenderer::rawExtensions, lowerExtension(path)) !=
           TesselRenderer::rawExtensions.end();
}

// The formats a camera writes beside its RAW files.
bool isCameraPicture(const fs::path& path) {
    const std::string ext = lowerExtension(path);
    return ext == "jpg" || ext == "jpeg" || ext == "heic" || ext == "heif";
}

std::string lowerStem(const fs::path& path) {
    std::string stem = path.stem().string();
    std::ranges::transform(stem, stem.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return stem;
}

// Leaves out of one folder's `files` each RAW file whose JPEG or HEIC is among them.
void pairRawFiles(std::vector<fs::path>& files, ImageFileScan& scan) {
    std::unordered_map<std::string, fs::path> pictures;
    for (const fs::path& file : files)
        if (isCameraPicture(file)) pictures.try_emplace(lowerStem(file), file);
    if (pictures.empty()) return;
    std::vector<fs::path> kept;
    kept.reserve(files.size());
    for (fs::path& file : files) {
        const auto partner = isRaw(file) ? pictures.find(lowerStem(file)) : pictures.end();
        if (partner == pictures.end())
            kept.push_back(std::move(file));
        else
            scan.pairedRaws.push_back({file, partner->second});
    }
    files = std::move(kept);
}

bool isHidden(const fs::path& path) { return path.filename().native().starts_with('.'); }

bool isPackage(const fs::path& path) {
    return std::ranges::find(packageExtensions, lowerExtension(path)) != packageExtensions.end();
}

// Searches `top` and its subfolders, one folder at a time. Whatever cannot be read is left out
// and the scan goes on: a folder that cannot be opened, an entry whose type cannot be read (a
// broken symbolic link), and the rest of a folder whose listing fails part-way. What a folder
// lists does not depend on the order its entries come in.
void scanFolder(const fs::path& top, ImageFileScan& scan) {
    std::vector<fs::path> folders{top};
    while (!folders.empty()) {
        const fs::path folder = std::move(folders.back());
        folders.pop_back();
        std::vector<fs::path> files;
        std::error_code ec;
        fs::directory_iterator it(folder, ec);
        for (const fs::directory_iterator end; !ec && it != end; it.increment(ec)) {
            const fs::path& path = it->path();
            if (isHidden(path)) continue;
            std::error_code typeError;
            // Folders reached through symbolic links are not entered, so loops cannot occur.
            const fs::file_status own = it->symlink_status(typeError);
            if (typeError) continue;
            if (fs::is_directory(own)) {
                if (!isPackage(path)) folders.push_back(path);
                continue;
            }
            // A symbolic link counts as the file it points to; a broken one is not an image.
            const fs::file_status target = it->status(typeError);
            if (!typeError && fs::is_regular_file(target) && hasSupportedExtension(path))
                files.push_back(path);
        }
        pairRawFiles(files, scan);
        scan.files.insert(scan.files.end(), std::make_move_iterator(files.begin()),
                          std::make_move_iterator(files.end()));
    }
}

}  // namespace

ImageFileScan scanImageFiles(const std::vector<fs::path>& locations) {
    ImageFileScan scan;
    for (const fs::path& location : locations) {
        std::error_code ec;
        if (fs::is_directory(location, ec)) {
            scanFolder(location, scan);
        } else if (hasSupportedExtension(location)) {
            scan.files.push_back(location);
        }
    }
    const auto natural = [](const fs::path& a, const fs::path& b) {
        return naturalLess(a.native(), b.native());
    };
    std::ranges::stable_sort(scan.files, natural);
    std::ranges::stable_sort(scan.pairedRaws, natural, &PairedRawFile::raw);
    return scan;
}

std::string pairedRawSummary(const std::vector<PairedRawFile>& pairedRaws) {
    bool jpeg = false;
    bool heic = false;
    for (const PairedRawFile& pair : pairedRaws) {
        const std::string ext = lowerExtension(pair.shownBy);
        (ext == "heic" || ext == "heif" ? heic : jpeg) = true;
    }
    const std::string partner = jpeg && heic ? "JPEG or HEIC" : heic ? "HEIC" : "JPEG";
    if (pairedRaws.size() == 1) return "1 RAW file shown by its " + partner;
    return std::to_string(pairedRaws.size()) + " RAW files shown by their " + partner;
}

std::vector<fs::path> imageFiles(const std::vector<fs::path>& locations) {
    return scanImageFiles(locations).files;
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
