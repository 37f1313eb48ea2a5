// Times the application model without a window, as a user meets it: adding image files until
// every item is listed, the first preview, and one caption-colour edit until its preview.
//
//   tessel_bench_model [--reps N] FILE...
//   tessel_bench_model --edits FILE...
//   tessel_bench_model --export PDF FILE...
//
// With --edits (bench/preview.sh) one model is timed from adding the files until every row is
// listed and until the first page is on screen; then a jump to a page far from the first until
// it shows; then, back on the first page, a row of edits, each from the edit to its page on
// screen: a caption colour, the spacing, the columns (3 to 4) and the paper (A4 to Letter). The
// last line also gives the process's peak memory and the longest stall of the event loop.
//
// With --export the files are added and exported to PDF as the window's "Export Sheet…" would
// (the save panel answers PDF), for comparing the files a build writes.
//
// With --thumbnails (bench/shared-thumbnails.sh) the files are added and timed until every row
// is listed and until every row has its thumbnail.
//
// Every repetition makes a fresh model (no update server is contacted: its manifest points at
// a closed port) and adds the files as one batch. The preview figures include the model's
// 280 ms wait that gathers quick edits into one render. "stall" is the longest time the main
// thread's event loop went without turning (a window would freeze that long). Prints one line
// per repetition and the medians.

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "model/AppModel.hpp"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace tessel;

// Nothing in a measured run asks the user or the desktop for anything.
class Silent final : public app::Dialogs,
                     public app::FileViewer,
                     public app::Printing,
                     public app::SettingsStore,
                     public app::UpdateInstaller {
public:
    std::vector<fs::path> chooseFilesAndFolders(const app::OpenPanel&) override { return {}; }
    std::optional<fs::path> chooseSaveLocation(const app::SavePanel&) override { return saveTo; }
    std::optional<int> showAlert(const app::Alert&) override { return {}; }
    void showItems(const std::vector<fs::path>&) override {}
    void print(QPdfDocument&, SheetSize) override {}
    std::optional<QString> string(const QString&) const override { return {}; }
    void setString(const QString&, const QString&) override {}
    void install(const UpdateInfo&, const std::atomic<bool>&) override {}

    std::optional<fs::path> saveTo;  // the answer of the save panel
};

// Runs the event loop until `done` holds.
template <class Predicate>
void waitUntil(const Predicate& done) {
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done()) loop.quit();
    });
    poll.start(1);
    if (!done()) loop.exec();
}

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Reads every file once so that all runs start from the page cache.
void warm(const std::vector<fs::path>& files) {
    std::vector<char> buffer(1 << 20);
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        while (in.read(buffer.data(), std::ssize(buffer))) {
        }
    }
}

struct Run {
    double listed, firstPreview, editPreview, stall;
};

// The longest gap between two turns of the event loop while it lives.
class StallWatch {
public:
    StallWatch() {
        QObject::connect(&tick_, &QTimer::timeout, [this] {
            const Clock::time_point now = Clock::now();
            longest_ =
                std::max(longest_, std::chrono::duration<double, std::milli>(now - last_).count());
            last_ = now;
        });
        tick_.start(1);
    }
    double longest() const { return longest_; }

private:
    QTimer tick_;
    Clock::time_point last_ = Clock::now();
    double longest_ = 0;
};

Run measure(const std::vector<fs::path>& files) {
    Silent silent;
    CurlHttpSession session;
    app::AppModel model({silent, silent, silent, silent,
                         app::UpdateSource{session, "https://127.0.0.1:9/tessel/latest.json"},
                         silent});
    Run run{};
    int results = 0;
    Clock::time_point previewFrom;
    double* previewTarget = &run.firstPreview;
    QObject::connect(&model, &app::AppModel::previewResultChanged, [&] {
        if (model.previewResult()) *previewTarget = millisecondsSince(previewFrom), ++results;
    });

    const StallWatch stalls;
    const Clock::time_point start = Clock::now();
    previewFrom = start;
    model.add(files);
    waitUntil([&] { return !model.isLoading(); });
    run.listed = millisecondsSince(start);
    waitUntil([&] { return results == 1 && !model.isRendering(); });
    if (model.errorMessage()) std::cerr << "bench: " << model.errorMessage()->toStdString() << "\n";

    previewTarget = &run.editPreview;
    previewFrom = Clock::now();
    model.editRecipe([](SheetRecipe& recipe) { recipe.captionColor = {0.8, 0.1, 0.1, 1}; });
    waitUntil([&] { return results == 2 && !model.isRendering(); });
    run.stall = stalls.longest();
    return run;
}

// What `--edits` measures, in milliseconds.
struct EditRun {
    double listed = 0;             // from adding until every row is listed
    std::vector<double> previews;  // the first page on screen, then each edit's
    double turn = 0;               // a jump to a far page until it shows
    double stall = 0;              // the longest time the event loop went without turning
};

// True when the page on screen shows a finished render of the current recipe.
bool pageShown(const app::AppModel& model) {
    return !model.isRendering() && model.previewResult() &&
           model.previewResult()->pages.contains(model.previewPage());
}

// Adds the files and waits for the first page on screen; jumps to a page far from it (once the
// page after the first is drawn, as when a user has looked at the first page) and waits for it
// to show; comes back to the first page; then makes each edit of `edits` and waits for its page.
EditRun measureEdits(const std::vector<fs::path>& files,
                     const std::vector<std::function<void(SheetRecipe&)>>& edits) {
    Silent silent;
    CurlHttpSession session;
    app::AppModel model({silent, silent, silent, silent,
                         app::UpdateSource{session, "https://127.0.0.1:9/tessel/latest.json"},
                         silent});
    EditRun run;
    const StallWatch stalls;
    bool changed = false;
    QObject::connect(&model, &app::AppModel::previewResultChanged, [&] { changed = true; });
    // A turn to a page drawn ahead shows it at once, with no new result.
    const auto settled = [&](Clock::time_point from, bool newResult = true) {
        waitUntil([&] { return (changed || !newResult) && pageShown(model); });
        if (model.errorMessage())
            std::cerr << "bench: " << model.errorMessage()->toStdString() << "\n";
        return millisecondsSince(from);
    };

    Clock::time_point from = Clock::now();
    const Clock::time_point added = from;
    model.add(files);
    waitUntil([&] { return !model.isLoading(); });
    run.listed = millisecondsSince(from);
    run.previews.push_back(settled(from));

    // As far from the first page as the sheet allows, past the pages drawn ahead.
    const qint64 pages = model.pageCount();
    const qint64 target = std::min(std::max<qint64>(pages / 2, 2), pages - 1);
    if (target > 1) {
        waitUntil(
            [&] { return model.previewResult() && model.previewResult()->pages.contains(1); });
        from = Clock::now();
        while (model.previewPage() < target) model.nextPage();
        run.turn = settled(from, false);
        while (model.previewPage() > 0) model.previousPage();
        settled(Clock::now(), false);
    }

    for (const auto& edit : edits) {
        changed = false;
        from = Clock::now();
        model.editRecipe(edit);
        run.previews.push_back(settled(from));
    }
    run.stall = stalls.longest();

    // Then every thumbnail, to see what they hold at this many images.
    waitUntil([&] { return model.isIdle(); });
    std::int64_t thumbnailBytes = 0;
    for (const app::ImageItem& item : model.items()) thumbnailBytes += item.thumbnailData.size();
    std::printf("thumbnails: %zu images, %.1f MB of thumbnails, all made %.1f s after adding\n",
                model.items().size(), static_cast<double>(thumbnailBytes) / 1e6,
                millisecondsSince(added) / 1000);
    return run;
}

int measureEditsMain(const std::vector<fs::path>& files) {
    warm(files);
    const std::vector<std::function<void(SheetRecipe&)>> edits{
        [](SheetRecipe& recipe) {
            recipe.captionColor = {0.8, 0.1, 0.1, 1};
        },
        [](SheetRecipe& recipe) { recipe.spacing += 12; },
        [](SheetRecipe& recipe) { recipe.columns = 4; },
        [](SheetRecipe& recipe) { recipe.paper = SheetPaper::letter; },
    };
    const EditRun run = measureEdits(files, edits);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double peakMB = static_cast<double>(usage.ru_maxrss) / 1024.0;
    std::printf(
        "preview first=%.2f caption=%.2f spacing=%.2f columns=%.2f paper=%.2f turn=%.2f "
        "listed=%.2f peakMB=%.0f stallMS=%.0f\n",
        run.previews.at(0) / 1000, run.previews.at(1) / 1000, run.previews.at(2) / 1000,
        run.previews.at(3) / 1000, run.previews.at(4) / 1000, run.turn / 1000, run.listed / 1000,
        peakMB, run.stall);
    return 0;
}

// Adds the files, waits for the first preview, exports the sheet to `destination` as the window
// would, and prints what was written and how long the export took.
int exportMain(const std::vector<fs::path>& files, const fs::path& destination) {
    warm(files);
    Silent silent;
    silent.saveTo = destination;
    CurlHttpSession session;
    app::AppModel model({silent, silent, silent, silent,
                         app::UpdateSource{session, "https://127.0.0.1:9/tessel/latest.json"},
                         silent});
    model.add(files);
    waitUntil([&] { return !model.isLoading() && !model.isRendering(); });
    const Clock::time_point start = Clock::now();
    model.exportSheet();
    waitUntil([&] { return !model.isExporting(); });
    const double seconds = millisecondsSince(start) / 1000;
    if (model.errorMessage()) {
        std::cerr << "bench: " << model.errorMessage()->toStdString() << "\n";
        return 1;
    }
    for (const fs::path& file : model.lastExportedURLs()) std::printf("%s\n", file.c_str());
    std::printf("export seconds=%.2f\n", seconds);
    return 0;
}

// Adds the files and waits for every row's thumbnail; the model's other work (the preview of
// the first pages) goes on meanwhile, as it does in the window.
int thumbnailsMain(const std::vector<fs::path>& files) {
    warm(files);
    Silent silent;
    CurlHttpSession session;
    app::AppModel model({silent, silent, silent, silent,
                         app::UpdateSource{session, "https://127.0.0.1:9/tessel/latest.json"},
                         silent});
    const auto withThumbnails = [&] {
        return std::ranges::count_if(model.items(), [](const app::ImageItem& item) {
            return !item.thumbnailData.isEmpty();
        });
    };
    const Clock::time_point start = Clock::now();
    model.add(files);
    waitUntil([&] { return !model.isLoading(); });
    const double listed = millisecondsSince(start);
    waitUntil([&] { return withThumbnails() == std::ssize(model.items()) || model.isIdle(); });
    const double all = millisecondsSince(start);
    std::printf("thumbnails listed=%.2f all=%.2f made=%td of=%zu\n", listed / 1000, all / 1000,
                withThumbnails(), model.items().size());
    return 0;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    int reps = 3;
    bool edits = false;
    bool thumbnails = false;
    std::optional<fs::path> exportTo;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--edits")
            edits = true;
        else if (argument == "--thumbnails")
            thumbnails = true;
        else if (argument == "--export" && i + 1 < argc)
            exportTo = argv[++i];
        else if (argument == "--reps" && i + 1 < argc)
            reps = std::max(1, std::atoi(argv[++i]));
        else
            files.emplace_back(argument);
    }
    if (files.empty()) {
        std::cerr << "usage: tessel_bench_model [--reps N | --edits | --thumbnails | --export PDF] "
                     "FILE...\n";
        return 2;
    }
    if (edits) return measureEditsMain(files);
    if (thumbnails) return thumbnailsMain(files);
    if (exportTo) return exportMain(files, *exportTo);
    warm(files);

    std::vector<double> listed, first, edit, stall;
    std::printf("%-4s %12s %18s %18s %10s\n", "run", "listed ms", "first preview ms",
                "edit preview ms", "stall ms");
    for (int rep = 1; rep <= reps; ++rep) {
        const Run run = measure(files);
        listed.push_back(run.listed);
        first.push_back(run.firstPreview);
        edit.push_back(run.editPreview);
        stall.push_back(run.stall);
        std::printf("%-4d %12.0f %18.0f %18.0f %10.0f\n", rep, run.listed, run.firstPreview,
                    run.editPreview, run.stall);
    }
    std::printf("%-4s %12.0f %18.0f %18.0f %10.0f\n", "med", median(listed), median(first),
                median(edit), median(stall));
    std::printf("%zu files; preview times include the 280 ms wait for further edits\n",
                files.size());
    return 0;
}
