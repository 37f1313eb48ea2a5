#include "window/FileDrops.hpp"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>

namespace tessel::app {
namespace {

constexpr double outlineRadius = 12.0;
constexpr double outlineWidth = 3.0;
constexpr double outlineInset = 8.0;

bool carriesFiles(const QEvent* event) {
    const auto* drop = static_cast<const QDropEvent*>(event);
    return drop->mimeData() != nullptr && drop->mimeData()->hasUrls();
}

}  // namespace

FileDropTarget::FileDropTarget(AppModel& model, QWidget* area) : QObject(area), model_(model) {
    area->setAcceptDrops(true);
    area->installEventFilter(this);
    new DropHighlight(model, area);
}

void FileDropTarget::watch(QWidget* descendant) { descendant->installEventFilter(this); }

bool FileDropTarget::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::DragEnter:
        case QEvent::DragMove: {
            if (!carriesFiles(event)) break;
            auto* drag = static_cast<QDragMoveEvent*>(event);
            drag->setDropAction(Qt::CopyAction);
            drag->accept();
            model_.setIsDropTargeted(true);
            return true;
        }
        case QEvent::DragLeave:
            // Leaving the area, or one of its drop-taking children: a drag moving on into
            // another part of the window enters that part right after, setting it again.
            model_.setIsDropTargeted(false);
            break;
        case QEvent::Drop: {
            if (!carriesFiles(event)) break;
            auto* drop = static_cast<QDropEvent*>(event);
            const QList<QUrl> urls = drop->mimeData()->urls();
            model_.setIsDropTargeted(false);
            if (urls.isEmpty()) {
                drop->ignore();
                return true;
            }
            drop->setDropAction(Qt::CopyAction);
            drop->accept();
            model_.add(urls);
            return true;
        }
        default: break;
    }
    return QObject::eventFilter(watched, event);
}

DropHighlight::DropHighlight(AppModel& model, QWidget* area) : QWidget(area), model_(model) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    area->installEventFilter(this);
    connect(&model_, &AppModel::isDropTargetedChanged, this, &DropHighlight::refresh);
    refresh();
}

void DropHighlight::refresh() {
    setGeometry(parentWidget()->rect());
    setVisible(model_.isDropTargeted());
    if (isVisible()) raise();
}

bool DropHighlight::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void DropHighlight::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::Highlight), outlineWidth));
    painter.setBrush(Qt::NoBrush);
    const double half = outlineWidth / 2.0;
    painter.drawRoundedRect(QRectF(rect()).adjusted(outlineInset + half, outlineInset + half,
                                                    -outlineInset - half, -outlineInset - half),
                            outlineRadius, outlineRadius);
}

}  // namespace tessel::app
