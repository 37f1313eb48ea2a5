#pragma once
// The main window over a model with everything around it (tests/app's Harness), shown on the
// offscreen platform, and the small steps the tests take on it as a user would.

#include <QAbstractButton>
#include <QMenu>
#include <QPoint>
#include <QString>
#include <QWidget>
#include <memory>
#include <string>
#include <vector>

#include "AppHarness.hpp"
#include "window/MainWindow.hpp"

namespace tessel::test {

class WindowHarness {
public:
    WindowHarness();
    ~WindowHarness();

    app::AppModel& model() { return harness.model(); }
    app::MainWindow& window() { return *window_; }

    /// Writes `count` small images (a.png, b.png, ...) and adds them; waits until the list
    /// and the preview have settled.
    std::vector<std::filesystem::path> addImages(int count);
    /// Waits until nothing loads or renders.
    void settle() { harness.settle(); }

    Harness harness;

private:
    std::unique_ptr<app::MainWindow> window_;
};

/// Clicks `widget` with the left button in its middle.
void click(QWidget* widget);
/// The open pop-up menu's action titled `text`, triggered; false when there is none.
bool chooseFromOpenMenu(const QString& text);
/// The titles of `menu`'s actions, separators as "-".
std::vector<std::string> titles(const QMenu* menu);
/// The text of a label or button as standard text.
std::string text(const QWidget* widget);

/// A drag of `data` entering `window` and moving to `at` (window coordinates), delivered the
/// way the platform delivers it to a window. Whether the window would take it.
bool hover(QWidget* window, QPoint at, const QMimeData& data);
/// The hovering drag dropped at `at`. Whether the window took it.
bool drop(QWidget* window, QPoint at, const QMimeData& data);
/// The hovering drag left the window without a drop.
void leave(QWidget* window);
/// `point` of `widget` in the coordinates of its window.
QPoint inWindow(const QWidget* widget, QPoint point);

}  // namespace tessel::test
