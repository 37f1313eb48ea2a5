#pragma once
/// Files dropped anywhere on the window's content: taken as one batch by `AppModel::add`,
/// with `AppModel::isDropTargeted` true while such a drag hovers, and the accent-coloured
/// outline drawn over the content meanwhile.

#include <QObject>
#include <QWidget>

#include "model/AppModel.hpp"

namespace tessel::app {

class FileDropTarget final : public QObject {
    Q_OBJECT
public:
    /// Makes `area` (the window's content) take file drops, with the outline over it.
    FileDropTarget(AppModel& model, QWidget* area);

    /// A widget inside the area that takes drops of its own (the image list): file drags over
    /// it are still the window's.
    void watch(QWidget* descendant);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    AppModel& model_;
};

/// The outline shown over the content while files hover: a rounded rectangle of radius 12,
/// a 3-pixel line in the accent colour, 8 pixels in from the edges.
class DropHighlight final : public QWidget {
    Q_OBJECT
public:
    DropHighlight(AppModel& model, QWidget* area);

    void refresh();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    AppModel& model_;
};

}  // namespace tessel::app
