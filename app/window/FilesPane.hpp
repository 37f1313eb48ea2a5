#pragma once
/// The left pane: the "Files" header with the item count, the sort menu and an add button;
/// the image list (or, while it is empty, the panel inviting a drop); and the footer with the
/// move buttons, a note about files the last batch skipped, and the total size of the files.

#include <QWidget>

#include "model/AppModel.hpp"

class QLabel;
class QMenu;
class QStackedWidget;
class QToolButton;

namespace tessel::app {

class EmptyState;
class ImageListView;
class SkippedNote;

class FilesPane final : public QWidget {
    Q_OBJECT
public:
    explicit FilesPane(AppModel& model, QWidget* parent = nullptr);

    /// Shows the model: the count, the list or the empty panel, the selection, the size.
    void refresh();

    // The parts a test looks at.
    QLabel* count() const { return count_; }
    QToolButton* sortButton() const { return sort_; }
    QMenu* sortMenu() const { return sortMenu_; }
    EmptyState* emptyState() const { return empty_; }
    ImageListView* list() const { return list_; }
    /// The body shown: the empty panel, or the list with its footer.
    QWidget* body() const;
    QToolButton* moveUpButton() const { return moveUp_; }
    QToolButton* moveDownButton() const { return moveDown_; }
    QLabel* totalSize() const { return totalSize_; }
    SkippedNote* skippedNote() const { return skippedNote_; }
    /// "12 RAW files shown by their JPEG", shown while the last batch left such files out.
    QLabel* pairedNote() const { return pairedNote_; }

private:
    QWidget* makeHeader();
    QWidget* makeListPage();

    AppModel& model_;
    QLabel* count_;
    QToolButton* sort_;
    QMenu* sortMenu_;
    QStackedWidget* body_;
    EmptyState* empty_;
    QWidget* listPage_;
    ImageListView* list_;
    QToolButton* moveUp_;
    QToolButton* moveDown_;
    SkippedNote* skippedNote_;
    QLabel* pairedNote_;
    QLabel* totalSize_;
};

}  // namespace tessel::app
