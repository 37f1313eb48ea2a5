#pragma once
/// The main window: the toolbar ("Add Images", "Reveal") over three panes side by side (files,
/// preview, options), file drops anywhere on the content, the "Save Layout Preset" dialog and
/// the error alert. It only wires these parts to the one model; each pane reads the model
/// itself.
///
/// For the application shell: the menu bar is `menuBar()` (empty; the shell fills it and
/// passes the window's close through its quit guard), and the error alert is this window's
/// own. Dialogs the model opens (panels, its alerts) are the `Dialogs` service's; the
/// shell makes them modal to this window with `WidgetDialogs::setWindow`.

#include <QMainWindow>

#include "model/AppModel.hpp"

class QAction;
class QToolBar;

namespace tessel::app {

class ErrorAlert;
class FilesPane;
class OptionsPane;
class PreviewPane;
class SaveLayoutDialog;

class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    /// The smallest size of the content (below the toolbar), in logical pixels.
    static constexpr QSize minimumContentSize{1180, 760};

    /// The window over `model`, which must outlive it.
    explicit MainWindow(AppModel& model, QWidget* parent = nullptr);

    FilesPane* filesPane() const { return files_; }
    PreviewPane* previewPane() const { return preview_; }
    OptionsPane* optionsPane() const { return options_; }
    SaveLayoutDialog* saveLayoutDialog() const { return saveLayout_; }
    ErrorAlert* errorAlert() const { return alert_; }
    QToolBar* toolBar() const { return toolBar_; }
    QAction* addImagesAction() const { return addImages_; }
    QAction* revealAction() const { return reveal_; }

    /// Shows the model in the toolbar ("Reveal" needs a selected item).
    void refresh();

    /// Room for the panes at their ideal widths and a page of a useful size, within the screen.
    QSize sizeHint() const override;

private:
    void makeToolBar();

    AppModel& model_;
    FilesPane* files_;
    PreviewPane* preview_;
    OptionsPane* options_;
    SaveLayoutDialog* saveLayout_;
    ErrorAlert* alert_;
    QToolBar* toolBar_ = nullptr;
    QAction* addImages_ = nullptr;
    QAction* reveal_ = nullptr;
};

}  // namespace tessel::app
