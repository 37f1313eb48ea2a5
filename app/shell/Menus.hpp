#pragma once
/// The menu bar: File, Layout and Help, each item one model operation. Items are enabled and
/// shown from the model's state in `refresh`, which runs on every change it depends on.
///
/// File:   Add Images or Folders… (Ctrl+O) · Remove Selected (Delete, Backspace) · Remove All ·
///         Export Sheet… (Ctrl+E) · Print… (Ctrl+P) · Settings… (Ctrl+,) · Quit (Ctrl+Q)
/// Layout: one item per preset · Move Selected Up (Ctrl+Alt+Up) · Move Selected Down
///         (Ctrl+Alt+Down)
/// Help:   About Tessel · Update to {version}… (only while an update is known) ·
///         Check for Updates… · Tessel Feedback…

#include <QAction>
#include <QMainWindow>
#include <QObject>
#include <QUrl>
#include <functional>

namespace tessel::app {

class AppModel;

class Menus final : public QObject {
    Q_OBJECT
public:
    /// What the menus do beyond the model.
    struct Commands {
        /// "Settings…" and "About Tessel": show the settings window.
        std::function<void()> showSettings;
        /// "Quit": quit through the quit guard.
        std::function<void()> quit;
        /// "Tessel Feedback…": open a web page; `QDesktopServices::openUrl` when not given.
        std::function<void(const QUrl&)> openURL;
    };

    /// Fills `window`'s menu bar; the menus live as long as the window. `model` must outlive it.
    Menus(QMainWindow& window, AppModel& model, Commands commands);

    /// Makes Delete and Backspace remove the selected image while `imageList`, or a widget
    /// inside it, has the keyboard focus (and only then: elsewhere they edit text as usual).
    void bindRemoveKeys(QWidget& imageList);

private:
    void refresh();
    QAction* add(QMenu& menu, const QString& title, const QKeySequence& shortcut,
                 const std::function<void()>& action);

    AppModel& model_;
    Commands commands_;
    QAction* removeSelected_ = nullptr;
    QAction* removeAll_ = nullptr;
    QAction* exportSheet_ = nullptr;
    QAction* print_ = nullptr;
    QAction* updateTo_ = nullptr;
};

}  // namespace tessel::app
