// Times the application model without a window, as a user meets it: adding image files until
// every item is listed, the first preview, and one caption-colour edit until its preview.
//
//   tessel_bench_model [--reps N] FILE...
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
#include <iostream>
#include <string>
#include <vector>

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
    std::optional<fs::path> chooseSaveLocation(const app::SavePanel&) override { return {}; }
    std::optional<int> showAlert(const app::Alert&) override { return {}; }
    void showItems(const std::vector<fs::path>&) override {}
    void print(QPdfDocument&, SheetSize) override {}
    std::optional<QString> string(const QString&) const override { return {}; }
    void setString(const QString&, const QString&) override {}
    void install(const UpdateInfo&) override {}
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

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
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

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    int reps = 3;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--reps" && i + 1 < argc)
            reps = std::max(1, std::atoi(argv[++i]));
        else
            files.emplace_back(argument);
    }
    if (files.empty()) {
        std::cerr << "usage: tessel_bench_model [--reps N] FILE...\n";
        return 2;
    }
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
