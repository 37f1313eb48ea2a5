#pragma once
/// Draws one row of the image list: a rounded 44 × 44 thumbnail, the file name over its pixel
/// size, and the drag handle. Decoded thumbnails are kept in `QPixmapCache` by item id and
/// screen density, so a row is decoded once however often it is painted.

#include <QStyledItemDelegate>

namespace tessel::app {

class ImageRowDelegate final : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    /// The row's height, in logical pixels.
    static constexpr int rowHeight = 54;
    /// The thumbnail's side.
    static constexpr int thumbnailSide = 44;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace tessel::app
