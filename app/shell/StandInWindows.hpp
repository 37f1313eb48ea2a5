#pragma once
/// STAND-INS, until the application's own windows take their place in main.cpp: an empty
/// main window of the main window's minimum size (1180 × 760), and a settings window that
/// shows only the name and version. They let the shell run on its own.

#include <QMainWindow>
#include <QWidget>
#include <memory>

namespace tessel::app {

class AppModel;
struct DesktopServices;

/// A plain main window; the real one is `MainWindow` (app/window/).
std::unique_ptr<QMainWindow> standInMainWindow(AppModel& model, DesktopServices& services);

/// A plain settings window; the real one is `SettingsWindow` (app/window/).
std::unique_ptr<QWidget> standInSettingsWindow(AppModel& model, DesktopServices& services);

}  // namespace tessel::app
