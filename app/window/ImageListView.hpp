#pragma once
/// The list of gathered images: one row per item, single selection, rows dragged onto other
/// rows to reorder (the payload is the item's UUID string), and the row's context menu.

#include <QListView>
#include <QTimer>
#include <QUuid>

#include "model/AppModel.hpp"
#include "window/ImageListModel.hpp"

class QMenu;

namespace tessel::app {

class ImageListView final : public QListView {
    Q_OBJECT
public:
    explicit ImageListView(AppModel& model, QWidget* parent = nullptr);

    /// Selects the row of `id` (none for a null id) without telling the model.
    void showSelection(const QUuid& id);

    /// The context menu of `row`: "Move Up", "Move Down", "Show in Folder", "Remove". The move
    /// items select the row first; the other two act on the current selection.
    QMenu* menuForRow(int row);

    ImageListModel* listModel() const { return rows_; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // The item dragged, and the row it would land before; nothing for a refused payload.
    struct RowDrop {
        QUuid dragged;
        int row = -1;
    };
    RowDrop rowDrop(const QDropEvent* event) const;
    void selectionChanged(const QItemSelection& selected,
                          const QItemSelection& deselected) override;

    // Tells the model which rows are on screen.
    void reportRowsShown();

    AppModel& model_;
    ImageListModel* rows_;
    int dropRow_ = -1;      // the drop indicator's row while a row is dragged over the list
    int selectedRow_ = -1;  // the row the selection was last shown in
    QTimer rowsShown_;
};

}  // namespace tessel::app
