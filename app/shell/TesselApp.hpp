#pragma once
/// `TesselApp`: the process of the desktop application. It reads the command line, hands the
/// files to a Tessel already running (and ends), or starts: the delegate, the one model, the
/// main window with its menus and quit guard, then the model handed to the delegate.
///
/// The windows come from factories, so that start-up, open requests, menus and the quit guard
/// need nothing of a window beyond a `QMainWindow`.

#include <QMainWindow>
#include <QWidget>
#include <functional>
#include <memory>

#include "model/AppModel.hpp"
#include "shell/CommandLine.hpp"
#include "shell/DesktopServices.hpp"
#include "shell/SingleInstance.hpp"
#include "shell/TesselDelegate.hpp"

namespace tessel::app {

class QuitGuard;

/// How the application's windows are made.
struct WindowFactories {
    /// The main window, for the model and the services it shows alerts and panels through.
    std::function<std::unique_ptr<QMainWindow>(AppModel&, DesktopServices&)> mainWindow;
    /// The settings window (the About panel), made the first time it is asked for.
    std::function<std::unique_ptr<QWidget>(AppModel&, DesktopServices&)> settingsWindow;
    /// The main window's image list: while it has the focus, Delete and Backspace remove the
    /// selected image. May be empty or give nothing; the keys then do nothing.
    std::function<QWidget*(QMainWindow&)> imageList;
};

class TesselApp {
public:
    /// The whole process: `--help`, `--version`, a hand-over to the running instance (exit
    /// status 0 once the files are in its socket), or the application until it quits.
    static int run(int argc, char** argv, WindowFactories windows);

    /// Starts the application in the order it must: the delegate takes the launch's files
    /// (they wait in `pending`), later launches are listened for, the model is made (it loads
    /// the saved layouts and starts the update check), the main window is made, given its
    /// menus and quit guard, and shown, and only then the model is handed to the delegate.
    /// Needs a QApplication.
    TesselApp(WindowFactories windows, const LaunchRequest& launch, SingleInstance& instance);
    ~TesselApp();

    TesselApp(const TesselApp&) = delete;
    TesselApp& operator=(const TesselApp&) = delete;

    AppModel& model() { return *model_; }
    TesselDelegate& delegate() { return delegate_; }
    QMainWindow& mainWindow() { return *mainWindow_; }

    /// "Settings…" and "About Tessel": shows the settings window, made on first use.
    void showSettings();

private:
    // Quitting: the instance socket first, then the background work, then the event loop.
    void quit();
    void bringToFront();

    WindowFactories windows_;
    TesselDelegate delegate_;
    std::unique_ptr<InstanceServer> server_;
    DesktopServices services_;
    std::unique_ptr<AppModel> model_;
    std::unique_ptr<QuitGuard> quitGuard_;
    // Last, so that they go before what they show.
    std::unique_ptr<QMainWindow> mainWindow_;
    std::unique_ptr<QWidget> settingsWindow_;
};

}  // namespace tessel::app
