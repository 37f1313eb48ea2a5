#include "window/ImageRowDelegate.hpp"

#include <QAbstractItemView>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPixmapCache>
#include <QUuid>
#include <cmath>

#include "window/ImageListModel.hpp"
#include "window/Look.hpp"
#include "window/Symbols.hpp"

namespace tessel::app {
namespace {

constexpr int rowInset = 3;
constexpr int sidePadding = 8;
constexpr double thumbnailRadius = 6.0;
constexpr double selectionRadius = 7.0;
constexpr int handleSize = 16;

// The thumbnail scaled to fit a `side` square at `ratio`, decoded once per item and density.
QPixmap thumbnail(const QModelIndex& index, int side, double ratio) {
    const QString key = QStringLiteral("tessel-thumb-%1-%2")
                            .arg(index.data(ImageListModel::IdRole).toUuid().toString())
                            .arg(ratio);
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap)) return pixmap;
    const QImage image = QImage::fromData(index.data(ImageListModel::ThumbnailRole).toByteArray());
    if (image.isNull()) return {};
    const int pixels = static_cast<int>(std::lround(side * ratio));
    pixmap = QPixmap::fromImage(
        image.scaled(pixels, pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    pixmap.setDevicePixelRatio(ratio);
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

}  // namespace

void ImageRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QPalette& palette = option.palette;
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const bool focused = option.state.testFlag(QStyle::State_HasFocus) ||
                         (option.widget && option.widget->hasFocus());
    const bool emphasised = selected && focused;

    const QRectF row = QRectF(option.rect).adjusted(rowInset + 3, 1, -(rowInset + 3), -1);
    if (selected) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(emphasised ? palette.color(QPalette::Highlight)
                                     : look::mix(palette.color(QPalette::Base),
                                                 palette.color(QPalette::Text), 0.12));
        painter->drawRoundedRect(row, selectionRadius, selectionRadius);
    }
    const QColor primary =
        emphasised ? palette.color(QPalette::HighlightedText) : palette.color(QPalette::Text);
    const QColor secondary = emphasised
                                 ? look::mix(primary, palette.color(QPalette::Highlight), 0.25)
                                 : look::secondaryText(palette);
    const QColor tertiary = emphasised
                                ? look::mix(primary, palette.color(QPalette::Highlight), 0.45)
                                : look::tertiaryText(palette);

    // Thumbnail, fitted into its square and rounded at its own corners.
    const double ratio = painter->device()->devicePixelRatio();
    const QRectF box(row.left() + sidePadding, row.center().y() - thumbnailSide / 2.0,
                     thumbnailSide, thumbnailSide);
    const QPixmap picture = thumbnail(index, thumbnailSide, ratio);
    if (!picture.isNull()) {
        const QSizeF shown = picture.deviceIndependentSize();
        const QRectF target(box.center().x() - shown.width() / 2.0,
                            box.center().y() - shown.height() / 2.0, shown.width(), shown.height());
        QPainterPath clip;
        clip.addRoundedRect(target, thumbnailRadius, thumbnailRadius);
        painter->setClipPath(clip);
        painter->drawPixmap(target.topLeft(), picture);
        painter->setClipping(false);
    } else {
        painter->setPen(QPen(tertiary, 1.0));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), thumbnailRadius,
                                 thumbnailRadius);
    }

    // Drag handle at the trailing edge.
    const QRectF handle(row.right() - sidePadding - handleSize, row.center().y() - handleSize / 2.0,
                        handleSize, handleSize);
    painter->drawPixmap(handle.topLeft(), symbolPixmap(Symbol::dragHandle, {handleSize, handleSize},
                                                       ratio, tertiary));

    // File name over its pixel size.
    const double textLeft = box.right() + 10;
    const QRectF text(textLeft, row.top(), handle.left() - 8 - textLeft, row.height());
    const QFont nameFont = option.font;
    const QFont sizeFont = look::font(look::Type::caption);
    const QFontMetricsF nameMetrics(nameFont);
    const QFontMetricsF sizeMetrics(sizeFont);
    const double gap = 2.0;
    const double top =
        text.center().y() - (nameMetrics.height() + gap + sizeMetrics.height()) / 2.0;

    painter->setFont(nameFont);
    painter->setPen(primary);
    const QString name = nameMetrics.elidedText(index.data(Qt::DisplayRole).toString(),
                                                Qt::ElideMiddle, text.width());
    painter->drawText(QRectF(text.left(), top, text.width(), nameMetrics.height()),
                      Qt::AlignLeft | Qt::AlignVCenter, name);
    painter->setFont(sizeFont);
    painter->setPen(secondary);
    painter->drawText(
        QRectF(text.left(), top + nameMetrics.height() + gap, text.width(), sizeMetrics.height()),
        Qt::AlignLeft | Qt::AlignVCenter, index.data(ImageListModel::DimensionsRole).toString());
    painter->restore();
}

QSize ImageRowDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
    // As narrow as can be: the list gives every row its full width.
    return {1, rowHeight};
}

}  // namespace tessel::app
