#pragma once
/// Collecting image files from files and folders, and the orders an image list is sorted in.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/Inspection.hpp"

namespace tessel {

/// A camera RAW file that a folder scan left out because a JPEG or HEIC of the same name
/// beside it shows the same shot (a camera set to write both).
struct PairedRawFile {
    std::filesystem::path raw;
    std::filesystem::path shownBy;  ///< the JPEG or HEIC file listed instead

    friend bool operator==(const PairedRawFile&, const PairedRawFile&) = default;
};

/// What collecting image files found.
struct ImageFileScan {
    /// The image files, sorted stably by full path under `naturalLess`.
    std::vector<std::filesystem::path> files;
    /// The RAW files left out for their JPEG or HEIC, in the same order.
    std::vector<PairedRawFile> pairedRaws;
};

/// The image files among `locations`, sorted stably by full path under `naturalLess`.
///
/// A location that is a folder (symbolic links followed) is searched recursively: entries whose
/// name starts with "." are skipped and never descended into, and so are packages — folders
/// whose lower-cased extension is one of "app", "bundle", "framework", "photoslibrary", "plugin"
/// or "pkg", which on other systems present themselves as single documents. Inside folders only
/// regular files (a symbolic link to one counts) with a supported extension are kept, and a
/// camera RAW file is left out when the same folder holds a JPEG or HEIC file of the same name
/// (compared without their extensions, ignoring case): the shot is listed once, as the JPEG or
/// HEIC. Any other location is kept when its lower-cased extension is in
/// `TesselRenderer::supportedExtensions`; nothing else is checked, not even that it exists.
/// What cannot be read is left out and the rest still counts: a subfolder that cannot be
/// opened, an entry whose type cannot be read (a broken symbolic link), a folder whose listing
/// fails part-way (what it listed stays). A file reached twice (a folder and a file inside it)
/// is listed twice. Never throws for file-system reasons.
ImageFileScan scanImageFiles(const std::vector<std::filesystem::path>& locations);

/// `scanImageFiles(locations).files`.
std::vector<std::filesystem::path> imageFiles(const std::vector<std::filesystem::path>& locations);

/// What a list or a command says of `pairedRaws` (not empty): "12 RAW files shown by their
/// JPEG", "1 RAW file shown by its HEIC", "3 RAW files shown by their JPEG or HEIC".
std::string pairedRawSummary(const std::vector<PairedRawFile>& pairedRaws);

/// True when `a` sorts before `b` in the order a file browser uses for the current locale:
/// case-insensitive, with runs of digits compared by their numeric value ("img2" before
/// "img10"). Texts are UTF-8. Texts that compare equal give false both ways.
bool naturalLess(std::string_view a, std::string_view b);

/// Sorts stably by the last path component of each input's location under `naturalLess`.
void sortByFilename(std::vector<SheetInput>& inputs);

/// Sorts stably by date taken, ascending; inputs without a date come first, in their order.
void sortByDate(std::vector<SheetInput>& inputs);

}  // namespace tessel
