#pragma once
/// Modal panels and alerts, as the model asks for them. The application's implementation is
/// `WidgetDialogs`; tests answer with a recording fake.

#include <QString>
#include <QStringList>
#include <filesystem>
#include <optional>
#include <vector>

namespace tessel::app {

/// The open panel: files and folders in one pick, several at once, no type filter.
struct OpenPanel {
    QString message;  ///< the line above the file list, e.g. "Choose images or folders"
    QString prompt;   ///< the confirming button, e.g. "Add"
};

/// The save panel. It asks the user before a chosen existing file would be replaced.
struct SavePanel {
    QString title;         ///< e.g. "Export Contact Sheet"
    QString prompt;        ///< the confirming button, e.g. "Export"
    QString proposedName;  ///< the file name put in the name field, e.g. "Trip-sheet.pdf"
};

/// A modal alert.
struct Alert {
    QString title;            ///< the window title
    QString text;             ///< the message, e.g. "You're up to date"
    QString informativeText;  ///< the explanation under it; may be empty
    QStringList buttons;      ///< left to right; the first is the default button

    friend bool operator==(const Alert&, const Alert&) = default;
};

class Dialogs {
public:
    virtual ~Dialogs() = default;

    /// Shows the open panel and waits. The chosen files and folders in the panel's order;
    /// empty when the panel was cancelled.
    virtual std::vector<std::filesystem::path> chooseFilesAndFolders(const OpenPanel& panel) = 0;

    /// Shows the save panel and waits. The chosen location; nothing when it was cancelled.
    virtual std::optional<std::filesystem::path> chooseSaveLocation(const SavePanel& panel) = 0;

    /// Shows `alert` and waits. The index in `alert.buttons` of the button chosen; nothing
    /// when the alert was dismissed another way.
    virtual std::optional<int> showAlert(const Alert& alert) = 0;

protected:
    Dialogs() = default;
    Dialogs(const Dialogs&) = default;
    Dialogs& operator=(const Dialogs&) = default;
};

}  // namespace tessel::app
