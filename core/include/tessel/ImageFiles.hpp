#pragma once
/// Collecting image files from files and folders, and the orders an image list is sorted in.

#include <filesystem>
#include <string_view>
#include <vector>

#include "tessel/Inspection.hpp"

namespace tessel {

/// The image files among `locations`, sorted stably by full path under `naturalLess`.
///
/// A location that is a folder (symbolic links followed) is searched recursively: entries whose
/// name starts with "." are skipped and never descended into, and so are packages — folders
/// whose lower-cased extension is one of "app", "bundle", "framework", "photoslibrary", "plugin"
/// or "pkg", which on other systems present themselves as single documents. Inside folders only
/// regular files (a symbolic link to one counts) with a supported extension are kept. Any other
/// location is kept when its lower-cased extension is in `TesselRenderer::supportedExtensions`;
/// nothing else is checked, not even that it exists. What cannot be read is left out and the
/// rest still counts: a subfolder that cannot be opened, an entry whose type cannot be read (a
/// broken symbolic link), a folder whose listing fails part-way (what it listed stays). A file
/// reached twice (a folder and a file inside it) is listed twice. Never throws for file-system
/// reasons.
std::vector<std::filesystem::path> imageFiles(const std::vector<std::filesystem::path>& locations);

/// True when `a` sorts before `b` in the order a file browser uses for the current locale:
/// case-insensitive, with runs of digits compared by their numeric value ("img2" before
/// "img10"). Texts are UTF-8. Texts that compare equal give false both ways.
bool naturalLess(std::string_view a, std::string_view b);

/// Sorts stably by the last path component of each input's location under `naturalLess`.
void sortByFilename(std::vector<SheetInput>& inputs);

/// Sorts stably by date taken, ascending; inputs without a date come first, in their order.
void sortByDate(std::vector<SheetInput>& inputs);

}  // namespace tessel
