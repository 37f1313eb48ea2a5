#pragma once
// Carrying out a parsed command: resolve the inputs, inspect, render, write, report.

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "tessel/ImageFiles.hpp"
#include "tessel/SheetRecipe.hpp"

#include "CommandLine.hpp"
#include "RunFeedback.hpp"

namespace tessel::cli {

/// Where a run reads standard input and writes its report and errors.
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    /// Show progress on `err` (only when it is a terminal).
    bool showProgress = false;
    /// Also told how the run goes (`--notify`); none tells nobody.
    RunFeedback* feedback = nullptr;
};

/// Runs `command` and returns the process's exit status: 0 done, 1 the work failed (its
/// description on `err`), 2 a usage error found while resolving the recipe.
int run(const SheetCommand& command, Console& console);

/// The recipe the command describes: the preset's (contact by default), or the one in the
/// recipe file, or the saved layout's, with the field overrides applied. Throws `UsageError`
/// naming the file or the layout when it cannot be used.
SheetRecipe resolveRecipe(const SheetCommand& command);

/// Makes and returns a new folder `$XDG_CACHE_HOME` (or `~/.cache`) +
/// "/com.orvane.Tessel/Shortcuts/{UUID}". Throws `std::filesystem::filesystem_error`.
std::filesystem::path newOutputFolder();

/// The images an image argument stands for: a folder's image files (`scanImageFiles`, with
/// the RAW files it leaves out for their JPEG or HEIC), or else the argument itself, whatever
/// it names.
ImageFileScan imagesOf(const std::string& argument);

/// Writes everything on `in` into a new file `folder`/`name` (a `NewFile`), never replacing
/// an existing file (`TesselError::destinationExists`). Throws `std::system_error` when the
/// bytes cannot be read or written.
std::filesystem::path storeStandardInput(std::istream& in, const std::filesystem::path& folder,
                                         const std::string& name);

}  // namespace tessel::cli
