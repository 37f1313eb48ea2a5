#pragma once
/// The dialogs of the desktop application: `QFileDialog` panels and `QMessageBox` alerts.

#include <QPointer>
#include <QWidget>

#include "services/Dialogs.hpp"

namespace tessel::app {

class WidgetDialogs final : public Dialogs {
public:
    /// Dialogs are modal to `window` once it is set (the main window, made after the model).
    explicit WidgetDialogs(QWidget* window = nullptr) : window_(window) {}
    void setWindow(QWidget* window) { window_ = window; }

    /// A file dialog in which files and folders can be picked together, several at once.
    std::vector<std::filesystem::path> chooseFilesAndFolders(const OpenPanel& panel) override;
    /// A save dialog that asks before a chosen existing file would be replaced.
    std::optional<std::filesystem::path> chooseSaveLocation(const SavePanel& panel) override;
    /// A message box with the buttons left to right in the alert's order, the first the
    /// default. Escape and closing answer only when there is a single button.
    std::optional<int> showAlert(const Alert& alert) override;

private:
    QPointer<QWidget> window_;
};

}  // namespace tessel::app
