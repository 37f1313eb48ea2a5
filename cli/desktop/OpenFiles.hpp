#pragma once
// Showing a finished sheet: in its viewer, or selected in the file manager.

#include <filesystem>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace tessel::cli {

/// Opens `file` in the desktop's default application for its type. `activationToken` (from
/// the notification that asked, may be empty) lets the application's window come to the
/// front. A failure is ignored: there is nobody to tell.
void openWithDefaultApplication(const std::filesystem::path& file,
                                const std::string& activationToken);

/// Asks the file manager on `bus` to show `files` selected in their folder
/// (`org.freedesktop.FileManager1.ShowItems`, as the application does); when that call fails,
/// opens the first file's folder instead.
void showInFolder(GDBusConnection* bus, const std::vector<std::filesystem::path>& files,
                  const std::string& activationToken);

}  // namespace tessel::cli
