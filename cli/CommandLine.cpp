#include "CommandLine.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <string>

#include <CLI/CLI.hpp>

#include "tessel/Layout.hpp"
#include "tessel/RecipeLimits.hpp"
#include "tessel/Updater.hpp"

namespace tessel::cli {
namespace {

constexpr std::array<std::pair<SheetPreset, std::string_view>, 4> presetTitles{{
    {SheetPreset::contact, "Contact Sheet"},
    {SheetPreset::portfolio, "Portfolio"},
    {SheetPreset::proof, "Proof Grid"},
    {SheetPreset::square, "Square Grid"},
}};

constexpr std::string_view examples = R"(Examples:
  tessel-sheet ~/Pictures/Trip
      A contact sheet (PDF, A4, 3 x 4, file names) of every image in the folder and its
      subfolders, in a new folder under ~/.cache/com.orvane.Tessel/Shortcuts/.
  tessel-sheet --preset proof --sort date --output-dir ~/Desktop --name "Proofs" *.jpg
      A proof grid of the JPEG files ordered by date taken, written as ~/Desktop/Proofs.pdf.
  curl -s https://example.com/p.jpg | tessel-sheet --format png --stdin-name p.jpg - b.png
      Numbered PNG pages of an image read from standard input and b.png.
  tessel-sheet --resolution 300 --title "Trip, day 1" --page-numbers ~/Pictures/Trip
      A contact sheet to print: 300 pixels per inch, a title on every page and "Page N of M"
      with today's date at the foot.
  tessel-sheet --inspect IMG_0001.HEIC
      One JSON line with the size, frame count, file size, date and camera of the image.
  tessel-sheet --beside --notify --images-only --preset proof Trip/*
      "Trip/Proof Grid.pdf", or "Trip/Proof Grid 2.pdf" when that name is taken, of the
      images in Trip (an earlier sheet or notes there are left out), with a desktop
      notification when it is done (as the file managers' menu entries do).

Images are taken in the order given, folders expanded in file-name order; nothing is skipped,
so an unreadable or animated image fails the whole run (--images-only leaves out files that
are not images by their name, and says how many). Every run writes into its own new
folder unless --output-dir or --beside is given; an existing file is never replaced. On
success the first line says what was made and each further line is the absolute path of a
written file.
Exit status: 0 on success, 1 when the sheet could not be made, 2 for a usage error.
)";

[[noreturn]] void usage(std::string_view option, const std::string& problem) {
    throw UsageError(std::string(option) + ": " + problem);
}

std::string inQuotes(std::string_view text) { return "'" + std::string(text) + "'"; }

template <class E>
E parseChoice(std::string_view option, std::string_view text) {
    if (auto value = fromRawValue<E>(text)) return *value;
    std::string choices;
    for (const auto& entry : EnumTable<E>::entries) {
        if (!choices.empty()) choices += ", ";
        choices += entry.rawValue;
    }
    usage(option, "expected one of " + choices + ", got " + inQuotes(text));
}

// The ranges the options accept are the recipe's own, which loaded recipes keep to as well.
using RecipeLimits::largestGrid;
using RecipeLimits::largestLength;

std::int64_t parseInteger(std::string_view option, std::string_view text, std::int64_t low,
                          std::int64_t high) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() || value < low ||
        value > high)
        usage(option, "expected a whole number from " + std::to_string(low) + " to " +
                          std::to_string(high) + ", got " + inQuotes(text));
    return value;
}

double parseNumber(std::string_view option, std::string_view text, double low, double high,
                   const std::string& range) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() ||
        !std::isfinite(value) || value < low || value > high)
        usage(option, "expected a number from " + range + ", got " + inQuotes(text));
    return value;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A file name the run writes into its folder: never a path that could lead out of it, and
// nothing that would break the one-path-per-line report.
void checkFileName(std::string_view option, const std::string& name, bool mayBeBlank) {
    const bool bad = name.find_first_of(std::string_view("/\0\n\r", 4)) != std::string::npos;
    if (bad || (!mayBeBlank && name.empty()) || name == "." || name == "..")
        usage(option,
              "expected a file name without a folder or a line break, got " + inQuotes(name));
}

// The raw option texts; they are converted after CLI11 has matched them so that every
// message names the option and the form it wants.
struct RawOptions {
    std::string preset, paper, orientation, size, columns, rows, margin, spacing, background, fit,
        caption, captionAlign, captionSize, captionColor, format, quality, sort, resolution, title;
};

// --resolution takes pixels per inch, as printing dialogs do.
constexpr std::array<std::pair<std::string_view, SheetResolution>, 2> resolutionsPerInch{{
    {"150", SheetResolution::standard},
    {"300", SheetResolution::high},
}};

struct Registered {
    CLI::Option* option;
    std::string* text;
};

SheetCommand convert(const RawOptions& raw, const std::vector<Registered>& options,
                     SheetCommand command) {
    const auto given = [&](const std::string& field) {
        for (const Registered& r : options)
            if (r.text == &field) return r.option->count() > 0;
        return false;
    };
    RecipeOverrides& o = command.overrides;
    if (given(raw.preset)) command.preset = parseChoice<SheetPreset>("--preset", raw.preset);
    if (given(raw.paper)) o.paper = parseChoice<SheetPaper>("--paper", raw.paper);
    if (given(raw.orientation))
        o.orientation = parseChoice<SheetOrientation>("--orientation", raw.orientation);
    if (given(raw.size)) std::tie(o.customWidth, o.customHeight) = parseSize("--size", raw.size);
    if (given(raw.columns)) o.columns = parseInteger("--columns", raw.columns, 1, largestGrid);
    if (given(raw.rows)) o.rows = parseInteger("--rows", raw.rows, 1, largestGrid);
    if (given(raw.margin)) o.margin = parseInteger("--margin", raw.margin, 0, largestLength);
    if (given(raw.spacing)) o.spacing = parseInteger("--spacing", raw.spacing, 0, largestLength);
    if (given(raw.background)) o.background = parseColor("--background", raw.background);
    if (given(raw.fit)) o.fit = parseChoice<SheetFit>("--fit", raw.fit);
    if (given(raw.caption)) o.caption = parseChoice<SheetCaption>("--caption", raw.caption);
    if (given(raw.captionAlign))
        o.captionAlignment =
            parseChoice<SheetCaptionAlignment>("--caption-align", raw.captionAlign);
    if (given(raw.captionSize))
        o.captionFontSize =
            parseNumber("--caption-size", raw.captionSize, RecipeLimits::smallestCaptionSize,
                        RecipeLimits::largestCaptionSize, "8 to 72");
    if (given(raw.captionColor)) o.captionColor = parseColor("--caption-color", raw.captionColor);
    if (given(raw.format)) o.output = parseChoice<SheetOutputFormat>("--format", raw.format);
    if (given(raw.quality)) o.jpegQuality = parseNumber("--quality", raw.quality, 0, 1, "0 to 1");
    if (given(raw.resolution)) {
        for (const auto& [perInch, resolution] : resolutionsPerInch)
            if (raw.resolution == perInch) o.resolution = resolution;
        if (!o.resolution)
            usage("--resolution", "expected 150 or 300, got " + inQuotes(raw.resolution));
    }
    if (given(raw.title)) o.title = raw.title;
    if (given(raw.sort)) {
        if (raw.sort == "filename")
            command.order = ImageOrder::filename;
        else if (raw.sort == "date")
            command.order = ImageOrder::date;
        else
            usage("--sort", "expected one of filename, date, got " + inQuotes(raw.sort));
    }
    checkFileName("--stdin-name", command.stdinName, false);
    // A blank name stands for "Contact Sheet".
    checkFileName("--name", command.baseName, true);
    return command;
}

// Option lines show the value's form only; CLI11 would also list exclusions and repeat marks.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string& type = option->get_type_name();
        return type.empty() ? std::string() : " " + type;
    }
};

template <class E>
std::string choicesHelp(std::string_view what) {
    std::string text(what);
    text += ": ";
    for (std::size_t i = 0; i < EnumTable<E>::entries.size(); ++i) {
        if (i > 0) text += ", ";
        text += EnumTable<E>::entries[i].rawValue;
    }
    return text;
}

}  // namespace

std::string_view presetTitle(SheetPreset preset) {
    for (const auto& [p, title] : presetTitles)
        if (p == preset) return title;
    return {};
}

SheetColor parseColor(std::string_view option, std::string_view text) {
    const auto fail = [&] { usage(option, "expected a colour as #RRGGBB, got " + inQuotes(text)); };
    if (text.size() != 7 || text[0] != '#') fail();
    double components[3];
    for (std::size_t i = 0; i < 3; ++i) {
        const int high = hexDigit(text[1 + 2 * i]);
        const int low = hexDigit(text[2 + 2 * i]);
        if (high < 0 || low < 0) fail();
        components[i] = (high * 16 + low) / 255.0;
    }
    return {components[0], components[1], components[2], 1};
}

std::pair<std::int64_t, std::int64_t> parseSize(std::string_view option, std::string_view text) {
    const auto x = text.find_first_of("xX");
    const auto fail = [&] {
        usage(option, "expected a size in pixels as WIDTHxHEIGHT (each 1 to " +
                          std::to_string(largestLength) + "), got " + inQuotes(text));
    };
    if (x == std::string_view::npos) fail();
    try {
        return {parseInteger(option, text.substr(0, x), 1, largestLength),
                parseInteger(option, text.substr(x + 1), 1, largestLength)};
    } catch (const UsageError&) {
        fail();
    }
    return {};
}

void checkRecipeLimits(const std::string& source, const SheetRecipe& r) {
    if (const std::optional<RecipeProblem> problem = recipeProblem(r))
        throw UsageError(source + ": \"" + problem->key + "\" must be " + problem->range +
                         ", got " + problem->value);
}

void applyOverrides(const RecipeOverrides& o, SheetRecipe& r) {
    if (o.paper) r.paper = *o.paper;
    if (o.orientation) r.orientation = *o.orientation;
    if (o.customWidth && o.customHeight) {
        r.paper = SheetPaper::custom;
        r.customWidth = *o.customWidth;
        r.customHeight = *o.customHeight;
    }
    if (o.columns) r.columns = *o.columns;
    if (o.rows) r.rows = *o.rows;
    if (o.margin) r.margin = *o.margin;
    if (o.spacing) r.spacing = *o.spacing;
    if (o.background) r.background = *o.background;
    if (o.fit) r.fit = *o.fit;
    if (o.caption) r.caption = *o.caption;
    if (o.captionAlignment) r.captionAlignment = *o.captionAlignment;
    if (o.captionFontSize) r.captionFontSize = *o.captionFontSize;
    if (o.captionColor) r.captionColor = *o.captionColor;
    if (o.output) r.output = *o.output;
    if (o.jpegQuality) r.jpegQuality = *o.jpegQuality;
    if (o.resolution) r.resolution = *o.resolution;
    if (o.title) r.title = *o.title;
    if (o.pageNumbers) r.pageNumbers = true;
}

void checkPageText(const SheetRecipe& recipe) {
    if (const auto problem = TesselRenderer::pageTextMarginProblem(recipe))
        throw UsageError(*problem);
}

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
    CLI::App app(
        "Lays out photographs as printable sheets: contact sheets, portfolios, proof "
        "grids and square grids.",
        "tessel-sheet");
    app.formatter(std::make_shared<HelpFormatter>());
    app.get_formatter()->column_width(26);
    app.footer(std::string(examples));

    SheetCommand command;
    RawOptions raw;
    std::vector<std::string> inspectFiles;
    std::string recipeFile, layoutName, outputDir;
    bool listPresets = false;
    std::vector<Registered> registered;
    const auto text = [&](const char* name, std::string& field, const std::string& help,
                          const char* typeName, const char* group) {
        CLI::Option* option = app.add_option(name, field, help)->type_name(typeName);
        option->group(group);
        registered.push_back({option, &field});
        return option;
    };

    constexpr const char* sheet = "Sheet";
    constexpr const char* fields = "Recipe fields (applied over the preset, recipe or layout)";
    constexpr const char* other = "Other actions";

    app.add_option("IMAGE", command.images,
                   "Images (JPEG, PNG, TIFF, WebP, HEIC, camera RAW) and folders in sheet order; "
                   "- reads an image from stdin")
        ->type_name("");
    CLI::Option* preset = text("--preset", raw.preset,
                               "contact (default), portfolio, proof or square", "NAME", sheet);
    CLI::Option* recipe =
        app.add_option("--recipe", recipeFile, "Recipe JSON to use instead of a preset")
            ->type_name("FILE")
            ->group(sheet);
    CLI::Option* layout =
        app.add_option("--layout", layoutName, "Saved layout to use instead of a preset")
            ->type_name("NAME")
            ->group(sheet);
    preset->excludes(recipe)->excludes(layout);
    recipe->excludes(layout);
    CLI::Option* output =
        app.add_option("--output-dir", outputDir, "Write here instead of a new folder in the cache")
            ->type_name("DIR")
            ->group(sheet);
    CLI::Option* beside =
        app.add_flag("--beside", command.beside,
                     "Write beside the first image under a free name (else in Pictures)")
            ->group(sheet);
    beside->excludes(output);
    CLI::Option* name =
        app.add_option("--name", command.baseName,
                       "Base name (default \"Contact Sheet\"; with --beside the preset's title)")
            ->type_name("BASE")
            ->group(sheet);
    app.add_option("--stdin-name", command.stdinName,
                   "Name under which stdin's image is stored (default \"image\")")
        ->type_name("NAME")
        ->group(sheet);
    text("--sort", raw.sort, "Reorder by filename or date (taken; undated first)", "ORDER", sheet);
    app.add_flag("--notify", command.notify, "Show progress and the result as notifications")
        ->group(sheet);
    app.add_flag("--images-only", command.imagesOnly,
                 "Leave out files that are not images, and say so, instead of failing")
        ->group(sheet);

    text("--paper", raw.paper, choicesHelp<SheetPaper>("Paper"), "PAPER", fields);
    text("--orientation", raw.orientation, choicesHelp<SheetOrientation>("Orientation"), "WAY",
         fields);
    text("--size", raw.size, "Custom page in pixels, e.g. 2480x3508", "WxH", fields);
    const std::string grid = ", 1 to " + std::to_string(largestGrid);
    text("--columns", raw.columns, "Cells across a page" + grid, "N", fields);
    text("--rows", raw.rows, "Cells down a page" + grid, "N", fields);
    text("--margin", raw.margin, "Border around the page in pixels", "PX", fields);
    text("--spacing", raw.spacing, "Gap between cells in pixels", "PX", fields);
    text("--background", raw.background, "Page colour, e.g. #FFFFFF", "#RRGGBB", fields);
    text("--fit", raw.fit, "fit (whole image) or fill (cover the cell)", "MODE", fields);
    text("--caption", raw.caption, choicesHelp<SheetCaption>("Caption"), "TEXT", fields);
    text("--caption-align", raw.captionAlign, choicesHelp<SheetCaptionAlignment>("Alignment"),
         "SIDE", fields);
    text("--caption-size", raw.captionSize, "Caption size in pixels, 8 to 72", "PX", fields);
    text("--caption-color", raw.captionColor, "Caption colour, e.g. #000000", "#RRGGBB", fields);
    text("--format", raw.format, "Output: pdf, png or jpeg (numbered pages)", "FORMAT", fields);
    text("--quality", raw.quality, "JPEG quality from 0 to 1", "Q", fields);
    text("--resolution", raw.resolution, "Pixels per inch of A4 and Letter pages: 150 or 300",
         "PPI", fields);
    text("--title", raw.title, "One line at the top of every page", "TEXT", fields);
    app.add_flag("--page-numbers", command.overrides.pageNumbers,
                 "\"Page N of M\" and the date at the foot of every page")
        ->group(fields);

    CLI::Option* inspect =
        app.add_option("--inspect", inspectFiles, "Print what each image holds as JSON lines")
            ->type_name("FILE...")
            ->group(other);
    CLI::Option* list =
        app.add_flag("--list-presets", listPresets, "Print the presets and saved layouts")
            ->group(other);
    inspect->excludes(list);
    app.set_version_flag("--version", "tessel-sheet " + std::string(Updater::currentVersion()),
                         "Print the version");

    ParsedCommandLine result;
    try {
        app.parse(argc, argv);
        if (inspect->count() > 0) {
            if (!command.images.empty())
                throw UsageError("--inspect: give the files to inspect after it, not as images");
            command.action = SheetCommand::Action::inspect;
            command.images = std::move(inspectFiles);
        } else if (listPresets) {
            command.action = SheetCommand::Action::listPresets;
        }
        if (recipe->count() > 0) command.recipeFile = recipeFile;
        if (layout->count() > 0) command.layoutName = layoutName;
        if (output->count() > 0) {
            if (outputDir.empty()) throw UsageError("--output-dir: expected a folder, got ''");
            command.outputDir = outputDir;
        }
        result.command = convert(raw, registered, std::move(command));
        if (result.command->beside) {
            for (const std::string& image : result.command->images)
                if (image == "-")
                    throw UsageError("--beside: an image from standard input has no folder");
            if (name->count() == 0)
                result.command->baseName =
                    presetTitle(result.command->preset.value_or(SheetPreset::contact));
        }
    } catch (const CLI::CallForHelp&) {
        result.text = app.help();
    } catch (const CLI::CallForAllHelp&) {
        result.text = app.help();
    } catch (const CLI::CallForVersion& e) {
        result.text = std::string(e.what()) + "\n";
    } catch (const CLI::ParseError& e) {
        result = {std::nullopt, std::string(e.what()), true, 2};
    } catch (const UsageError& e) {
        result = {std::nullopt, e.what(), true, 2};
    }
    return result;
}

}  // namespace tessel::cli
