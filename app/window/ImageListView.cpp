#include "window/ImageListView.hpp"

#include <QContextMenuEvent>
#include <QDrag>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>

#include "window/ImageRowDelegate.hpp"
#include "window/Look.hpp"

namespace tessel::app {

ImageListView::ImageListView(AppModel& model, QWidget* parent)
    : QListView(parent), model_(model), rows_(new ImageListModel(model, this)) {
    setModel(rows_);
    setItemDelegate(new ImageRowDelegate(this));
    setSelectionMode(QAbstractItemView::SingleSelection);
    setUniformItemSizes(true);
    setFrameShape(QFrame::NoFrame);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(false);  // drawn by paintEvent: the item lands before the row
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    setAccessibleName(QStringLiteral("Images"));
    viewport()->setBackgroundRole(QPalette::Base);

    // The model makes the thumbnails of the rows on screen first.
    rowsShown_.setSingleShot(true);
    rowsShown_.setInterval(0);
    connect(&rowsShown_, &QTimer::timeout, this, &ImageListView::reportRowsShown);
    const auto later = [this] { rowsShown_.start(); };
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, later);
    connect(rows_, &QAbstractItemModel::modelReset, this, later);
}

void ImageListView::reportRowsShown() {
    const int rows = rows_->rowCount();
    if (rows == 0) return;
    const QModelIndex top = indexAt(QPoint(1, 1));
    const QModelIndex bottom = indexAt(QPoint(1, viewport()->height() - 2));
    const int first = top.isValid() ? top.row() : 0;
    model_.showingRows(first, bottom.isValid() ? bottom.row() : rows - 1);
}

void ImageListView::resizeEvent(QResizeEvent* event) {
    QListView::resizeEvent(event);
    rowsShown_.start();
}

void ImageListView::showSelection(const QUuid& id) {
    const int row = rows_->rowOf(id);
    const QModelIndex index = rows_->index(row, 0);
    const QSignalBlocker quiet(selectionModel());
    if (!index.isValid()) {
        selectionModel()->clear();
    } else {
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        // Only a selection that moved is scrolled to: thumbnails filling in leave the view
        // where the user scrolled it.
        if (row != selectedRow_) scrollTo(index);
    }
    selectedRow_ = row;
    viewport()->update();
}

void ImageListView::selectionChanged(const QItemSelection& selected,
                                     const QItemSelection& deselected) {
    QListView::selectionChanged(selected, deselected);
    const QModelIndexList rows = selectionModel()->selectedRows();
    model_.setSelectedID(rows.isEmpty() ? QUuid() : rows_->idAt(rows.constFirst().row()));
}

QMenu* ImageListView::menuForRow(int row) {
    const QUuid id = rows_->idAt(row);
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto moveBy = [this, id](qint64 offset) {
        model_.setSelectedID(id);
        model_.moveSelected(offset);
    };
    menu->addAction(QStringLiteral("Move Up"), this, [moveBy] { moveBy(-1); });
    menu->addAction(QStringLiteral("Move Down"), this, [moveBy] { moveBy(+1); });
    // These two act on the selection as it is, without selecting the clicked row.
    menu->addAction(QStringLiteral("Show in Folder"), this, [this] { model_.revealSelected(); });
    menu->addAction(QStringLiteral("Remove"), this, [this] { model_.removeSelected(); });
    return menu;
}

void ImageListView::mousePressEvent(QMouseEvent* event) {
    // A right click opens the row's menu without changing the selection.
    if (event->button() == Qt::RightButton) {
        event->accept();
        return;
    }
    QListView::mousePressEvent(event);
}

void ImageListView::contextMenuEvent(QContextMenuEvent* event) {
    const bool byKeyboard = event->reason() == QContextMenuEvent::Keyboard;
    const QModelIndex index = byKeyboard ? currentIndex() : indexAt(event->pos());
    if (!index.isValid()) return;
    const QPoint at =
        byKeyboard ? viewport()->mapToGlobal(visualRect(index).bottomLeft()) : event->globalPos();
    menuForRow(index.row())->popup(at);
}

void ImageListView::startDrag(Qt::DropActions) {
    const QModelIndex index = currentIndex();
    if (!index.isValid()) return;
    auto* drag = new QDrag(this);
    drag->setMimeData(rows_->mimeData({index}));
    // The dragged row as its picture, so the user sees what moves.
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.rect = QRect(QPoint(0, 0), visualRect(index).size());
    option.state |= QStyle::State_Selected;
    QPixmap picture(option.rect.size() * devicePixelRatioF());
    picture.setDevicePixelRatio(devicePixelRatioF());
    picture.fill(Qt::transparent);
    {
        QPainter painter(&picture);
        itemDelegate()->paint(&painter, option, index);
    }
    drag->setPixmap(picture);
    drag->setHotSpot(viewport()->mapFromGlobal(QCursor::pos()) - visualRect(index).topLeft());
    drag->exec(Qt::MoveAction);
}

ImageListView::RowDrop ImageListView::rowDrop(const QDropEvent* event) const {
    const QMimeData* payload = event->mimeData();
    if (payload == nullptr || !payload->hasText()) return {};
    const QString first = payload->text().section(QLatin1Char('\n'), 0, 0).trimmed();
    const QUuid dragged = QUuid::fromString(first);
    if (dragged.isNull()) return {};
    return {dragged, indexAt(event->position().toPoint()).row()};
}

void ImageListView::dragEnterEvent(QDragEnterEvent* event) { dragMoveEvent(event); }

void ImageListView::dragMoveEvent(QDragMoveEvent* event) {
    const RowDrop drop = rowDrop(event);
    const int row = drop.dragged.isNull() ? -1 : drop.row;
    const int y = event->position().toPoint().y();
    if (row >= 0 && (y < autoScrollMargin() || y > viewport()->height() - autoScrollMargin()))
        startAutoScroll();
    if (row != dropRow_) {
        dropRow_ = row;
        viewport()->update();
    }
    if (row < 0) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void ImageListView::dragLeaveEvent(QDragLeaveEvent* event) {
    stopAutoScroll();
    dropRow_ = -1;
    viewport()->update();
    event->accept();
}

void ImageListView::dropEvent(QDropEvent* event) {
    const RowDrop drop = rowDrop(event);
    stopAutoScroll();
    dropRow_ = -1;
    viewport()->update();
    if (drop.dragged.isNull() || drop.row < 0) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
    model_.move(drop.dragged, rows_->idAt(drop.row));
}

void ImageListView::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (dropRow_ < 0) return;
    // The dragged item lands immediately before the row under the pointer.
    const QRect target = visualRect(rows_->index(dropRow_, 0));
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor accent = palette().color(QPalette::Highlight);
    painter.setPen(QPen(accent, 2.0));
    const double y = target.top() + 1.0;
    painter.drawLine(QPointF(target.left() + 14.0, y), QPointF(target.right() - 8.0, y));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawEllipse(QPointF(target.left() + 10.0, y), 3.5, 3.5);
}

}  // namespace tessel::app
