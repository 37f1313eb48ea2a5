#include "SheetRun.hpp"

#include <cerrno>
#include <istream>
#include <ostream>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include "tessel/Files.hpp"
#include "tessel/ImageFiles.hpp"
#include "tessel/Inspection.hpp"
#include "tessel/Render.hpp"
#include "tessel/SavedLayouts.hpp"
#include "tessel/TesselError.hpp"

#include "Beside.hpp"
#include "Listing.hpp"
#include "Selection.hpp"
#include "desktop/PicturesFolder.hpp"

namespace tessel::cli {
namespace {

namespace fs = std::filesystem;

// A recipe is a few hundred bytes; anything far larger is not one.
constexpr std::uintmax_t kLargestRecipeFile = std::uintmax_t{1} << 20;

std::string readRecipeFile(const fs::path& file) {
    std::error_code error;
    std::string text = readFile(file, kLargestRecipeFile, error);
    if (error == std::errc::file_too_large)
        throw UsageError("--recipe: " + file.string() + " is larger than 1 MB");
    if (error == std::errc::invalid_argument)
        throw UsageError("--recipe: " + file.string() + " is not a regular file");
    if (error) throw UsageError("--recipe: cannot read " + file.string() + ": " + error.message());
    return text;
}

SheetRecipe savedLayoutRecipe(const std::string& name) {
    const std::vector<SavedLayout> layouts = loadSavedLayouts(layoutsFileLocation());
    for (const SavedLayout& layout : layouts)
        if (layout.name == name) return layout.recipe;
    std::string message = "--layout: no saved layout is named '" + name + "'; ";
    if (layouts.empty()) throw UsageError(message + "there are no saved layouts");
    message += "saved layouts:";
    for (const SavedLayout& layout : layouts) message += " '" + layout.name + "'";
    throw UsageError(message);
}

class Progress {
public:
    Progress(Console& console, RunFeedback::Stage stage)
        : console_(console),
          stage_(stage),
          label_(stage == RunFeedback::Stage::reading ? "Inspecting images" : "Drawing pages") {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() {
        if (shown_) console_.err << "\n" << std::flush;
    }

    void operator()(std::int64_t done, std::int64_t total) {
        if (console_.feedback) console_.feedback->progress(stage_, done, total);
        if (!console_.showProgress) return;
        shown_ = true;
        console_.err << "\r\33[K" << label_ << " " << done << "/" << total << std::flush;
    }

private:
    Console& console_;
    RunFeedback::Stage stage_;
    const char* label_;
    bool shown_ = false;
};

std::vector<fs::path> resolveInputs(const SheetCommand& command, const fs::path& folder,
                                    std::istream& in, std::optional<fs::path>& fromStdin,
                                    std::vector<PairedRawFile>& pairedRaws) {
    std::vector<fs::path> files;
    for (const std::string& argument : command.images) {
        if (argument == "-") {
            // Standard input holds one image; naming it twice means the same image twice.
            if (!fromStdin) fromStdin = storeStandardInput(in, folder, command.stdinName);
            files.push_back(*fromStdin);
            continue;
        }
        ImageFileScan scan = imagesOf(argument);
        for (fs::path& file : scan.files) files.push_back(std::move(file));
        pairedRaws.insert(pairedRaws.end(), scan.pairedRaws.begin(), scan.pairedRaws.end());
    }
    return files;
}

// Inspects, renders and writes; returns the written files.
std::vector<fs::path> makeSheetIn(const SheetCommand& command, const SheetRecipe& sheetRecipe,
                                  const fs::path& folder, Console& console,
                                  std::optional<fs::path>& fromStdin) {
    std::vector<PairedRawFile> pairedRaws;
    const std::vector<fs::path> files =
        resolveInputs(command, folder, console.in, fromStdin, pairedRaws);
    // Not a failure: the shot is on the sheet, by the picture the camera made of it.
    if (!pairedRaws.empty())
        console.err << "tessel-sheet: " << pairedRawSummary(pairedRaws) << ".\n";
    std::vector<SheetInput> inputs;
    inputs.reserve(files.size());
    {
        Progress progress(console, RunFeedback::Stage::reading);
        std::vector<SheetImageInfo> infos = TesselRenderer::inspectAll(
            files, [&](std::int64_t done, std::int64_t total) { progress(done, total); });
        for (std::size_t i = 0; i < files.size(); ++i)
            inputs.push_back({files[i], std::move(infos[i])});
    }
    if (command.order == ImageOrder::filename) sortByFilename(inputs);
    if (command.order == ImageOrder::date) sortByDate(inputs);

    Progress progress(console, RunFeedback::Stage::drawing);
    // Finished pages wait in a spool file beside the output rather than in memory, so a
    // sheet of thousands of images takes no more memory than one of a few.
    const SpooledSheet sheet = TesselRenderer::renderSpooled(
        inputs, sheetRecipe, folder,
        {.progress = [&](std::int64_t done, std::int64_t total) { progress(done, total); }});
    return command.beside
               ? TesselRenderer::writeUnderFreeName(sheet, folder, command.baseName, sheetRecipe)
               : TesselRenderer::write(sheet, folder, command.baseName, sheetRecipe);
}

void report(Console& console, const std::vector<fs::path>& written,
            const std::optional<fs::path>& unwritable, const std::string& leftOut) {
    if (unwritable)
        console.err << "tessel-sheet: " << unwritable->string()
                    << " cannot take a new file; writing into "
                    << written.front().parent_path().string() << " instead.\n";
    std::istringstream notes(leftOut);
    for (std::string line; std::getline(notes, line);)
        console.err << "tessel-sheet: " << line << "\n";
    if (written.size() == 1)
        console.out << "Created a contact sheet.\n";
    else
        console.out << "Created " << written.size() << " contact sheet pages.\n";
    for (const fs::path& file : written) console.out << fs::absolute(file).string() << "\n";
    console.out << std::flush;
    if (console.feedback) console.feedback->created(written, unwritable, leftOut);
}

// Beside the images: no folder is made for the run, and a failed run leaves nothing there.
int makeSheetBeside(const SheetCommand& command, const SheetRecipe& sheetRecipe,
                    const std::string& leftOut, Console& console) {
    if (command.images.empty()) throw TesselError::noImages();
    const BesideFolder place = besideFolder(command.images.front(), picturesFolder());
    std::optional<fs::path> noStdin;
    report(console, makeSheetIn(command, sheetRecipe, place.folder, console, noStdin),
           place.unwritable, leftOut);
    return 0;
}

int makeSheet(const SheetCommand& given, Console& console) {
    const SheetRecipe sheetRecipe = resolveRecipe(given);
    SheetCommand command = given;
    LeftOut leftOut;
    if (command.imagesOnly) {
        command.images = imagesOfSelection(given.images, leftOut);
        if (command.images.empty() && leftOut.any())
            throw TesselError::noImages().withCause(nothingLeftCause(leftOut));
    }
    const std::string note = leftOutNote(leftOut);
    if (command.beside) return makeSheetBeside(command, sheetRecipe, note, console);

    // The folder comes before anything that can fail. A new folder (always so in the cache)
    // is left behind by a failed run as a record, with whatever was stored from standard
    // input; a folder that was there before gets nothing of a failed run.
    fs::path folder;
    bool madeFolder = true;
    if (command.outputDir) {
        folder = fs::absolute(*command.outputDir);
        madeFolder = fs::create_directories(folder);
    } else {
        folder = newOutputFolder();
    }

    std::optional<fs::path> fromStdin;
    try {
        report(console, makeSheetIn(command, sheetRecipe, folder, console, fromStdin), std::nullopt,
               note);
    } catch (...) {
        if (fromStdin && !madeFolder) {
            std::error_code ignored;
            fs::remove(*fromStdin, ignored);
        }
        throw;
    }
    return 0;
}

}  // namespace

SheetRecipe resolveRecipe(const SheetCommand& command) {
    SheetRecipe result = recipe(command.preset.value_or(SheetPreset::contact));
    if (command.recipeFile) {
        const std::string text = readRecipeFile(*command.recipeFile);
        try {
            result = decodeRecipeJSON(text);
        } catch (const RecipeDecodingError& e) {
            throw UsageError("--recipe: " + command.recipeFile->string() +
                             " is not a recipe: " + e.what());
        }
        checkRecipeLimits("--recipe: " + command.recipeFile->string(), result);
    } else if (command.layoutName) {
        result = savedLayoutRecipe(*command.layoutName);
        checkRecipeLimits("--layout: '" + *command.layoutName + "'", result);
    }
    applyOverrides(command.overrides, result);
    checkPageText(result);
    return result;
}

ImageFileScan imagesOf(const std::string& argument) {
    std::error_code ec;
    if (fs::is_directory(argument, ec)) return scanImageFiles({argument});
    return {{argument}, {}};
}

fs::path newOutputFolder() {
    fs::path folder = userCacheFolder() / "com.orvane.Tessel" / "Shortcuts" / newUUIDString();
    fs::create_directories(folder);
    return folder;
}

fs::path storeStandardInput(std::istream& in, const fs::path& folder, const std::string& name) {
    fs::path target = folder / name;
    NewFile file(target);
    char buffer[65536];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0)
        file.write(
            {reinterpret_cast<const std::uint8_t*>(buffer), static_cast<std::size_t>(in.gcount())});
    if (in.bad())
        throw std::system_error(EIO, std::generic_category(), "Could not read standard input");
    try {
        file.publish();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists)
            throw TesselError::destinationExists().withCause("\"" + name + "\" is already in " +
                                                             folder.string() + ".");
        throw;
    }
    return target;
}

int run(const SheetCommand& command, Console& console) {
    std::string message;
    int status = 1;
    try {
        switch (command.action) {
            case SheetCommand::Action::sheet: return makeSheet(command, console);
            case SheetCommand::Action::inspect: return printInspection(command, console);
            case SheetCommand::Action::listPresets: return printPresets(console);
        }
    } catch (const UsageError& e) {
        message = std::string("tessel-sheet: ") + e.what();
        status = 2;
    } catch (const TesselError& e) {
        // The headline first, on a line of its own, so that scripts matching it keep working.
        message = e.errorDescription();
        if (!e.cause().empty()) message += "\n" + e.cause();
    } catch (const fs::filesystem_error& e) {
        message = "Could not create " + e.path1().string() + ": " + e.code().message() + ".";
    } catch (const std::exception& e) {
        message = e.what();
    }
    console.err << message << "\n";
    if (status == 2) console.err << "Run tessel-sheet --help for the options.\n";
    if (console.feedback) console.feedback->failed(message);
    return status;
}

}  // namespace tessel::cli
