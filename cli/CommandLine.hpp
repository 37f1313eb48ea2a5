#pragma once
// What the user asked tessel-sheet to do, read from its arguments.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/SheetRecipe.hpp"

namespace tessel::cli {

/// A mistake in the invocation: the process prints it and exits with status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Recipe fields set on the command line; each replaces the field of the chosen recipe.
struct RecipeOverrides {
    std::optional<SheetPaper> paper;
    std::optional<SheetOrientation> orientation;
    std::optional<std::int64_t> customWidth;   ///< with customHeight; also sets custom paper
    std::optional<std::int64_t> customHeight;  ///< with customWidth
    std::optional<std::int64_t> columns;
    std::optional<std::int64_t> rows;
    std::optional<std::int64_t> margin;
    std::optional<std::int64_t> spacing;
    std::optional<SheetColor> background;
    std::optional<SheetFit> fit;
    std::optional<SheetCaption> caption;
    std::optional<SheetCaptionAlignment> captionAlignment;
    std::optional<double> captionFontSize;
    std::optional<SheetColor> captionColor;
    std::optional<SheetOutputFormat> output;
    std::optional<double> jpegQuality;
    std::optional<SheetResolution> resolution;
    std::optional<std::string> title;
    bool pageNumbers = false;  ///< turns them on; a recipe's own stay as they are otherwise
};

/// Writes every override into `recipe`.
void applyOverrides(const RecipeOverrides& overrides, SheetRecipe& recipe);

/// The order of the images on the sheet.
enum class ImageOrder { given, filename, date };

/// One run of the tool.
struct SheetCommand {
    enum class Action { sheet, inspect, listPresets };
    Action action = Action::sheet;
    /// The image arguments as given: files, folders, or "-" for standard input.
    std::vector<std::string> images;
    /// The file name under which standard input's image is stored in the output folder.
    std::string stdinName = "image";
    std::optional<SheetPreset> preset;
    std::optional<std::filesystem::path> recipeFile;
    std::optional<std::string> layoutName;
    std::optional<std::filesystem::path> outputDir;
    /// Write into the folder of the first image argument (inside it when it is a folder)
    /// under the first free name, or into the Pictures folder when that cannot be written.
    bool beside = false;
    /// Report progress, the result and failures as desktop notifications too.
    bool notify = false;
    /// Leave out the files given that are not images (by their extension) and the URIs of
    /// files that are not on a local disk, and say so, rather than fail on them: for a file
    /// manager's selection, which may hold anything.
    bool imagesOnly = false;
    /// "Contact Sheet", or with `beside` the title of the preset, unless given.
    std::string baseName = "Contact Sheet";
    RecipeOverrides overrides;
    ImageOrder order = ImageOrder::given;
};

/// Either a command to run, or a text to print (help, version, a usage error) and the exit
/// status to end with.
struct ParsedCommandLine {
    std::optional<SheetCommand> command;
    std::string text;
    bool textIsError = false;
    int exitStatus = 0;
};

/// Reads the arguments (argv[0] is the program). Never throws for bad arguments.
ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

/// "#RRGGBB" (either case) as an opaque colour. Throws `UsageError` naming `option`.
SheetColor parseColor(std::string_view option, std::string_view text);

/// "WIDTHxHEIGHT" in pixels, each side 1 to 30000. Throws `UsageError` naming `option`.
std::pair<std::int64_t, std::int64_t> parseSize(std::string_view option, std::string_view text);

/// Refuses a loaded recipe (a recipe file's or a saved layout's) whose values the options
/// could not give: columns and rows 1 to 1000, a custom page of 1 to 30000 pixels a side,
/// caption size 8 to 72, margin and spacing 0 to 30000. Throws `UsageError` naming `source`,
/// the key and its range.
void checkRecipeLimits(const std::string& source, const SheetRecipe& recipe);

/// Refuses a recipe whose margin cannot hold the title and page numbers it asks for, with
/// the message the window shows. Throws `UsageError`.
void checkPageText(const SheetRecipe& recipe);

/// The display name a preset has on the command line and in automation ("Contact Sheet").
std::string_view presetTitle(SheetPreset preset);

}  // namespace tessel::cli
