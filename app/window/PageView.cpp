#include "window/PageView.hpp"

#include <QPainter>
#include <QPixmapCache>
#include <algorithm>
#include <cmath>
#include <vector>

#include "window/Spinner.hpp"

namespace tessel::app {
namespace {

constexpr double pageInset = 34.0;
constexpr double shadowRadius = 12.0;
constexpr double shadowOffsetY = 5.0;
constexpr double shadowOpacity = 0.22;
constexpr int spinnerInset = 16;
constexpr int spinnerSize = 16;

// Three box blurs of the alpha channel, close to a Gaussian of the given radius.
QImage blurred(QImage image, int radius) {
    const int width = image.width();
    const int height = image.height();
    const int box = std::max(1, radius / 2);
    std::vector<int> line;
    for (int pass = 0; pass < 3; ++pass) {
        for (int direction = 0; direction < 2; ++direction) {
            const bool across = direction == 0;
            const int lines = across ? height : width;
            const int length = across ? width : height;
            line.assign(static_cast<std::size_t>(length), 0);
            for (int l = 0; l < lines; ++l) {
                auto alpha = [&](int i) -> uchar& {
                    const int x = across ? i : l;
                    const int y = across ? l : i;
                    return image.scanLine(y)[x * 4 + 3];
                };
                for (int i = 0; i < length; ++i) line[static_cast<std::size_t>(i)] = alpha(i);
                int sum = 0;
                for (int i = -box; i <= box; ++i)
                    sum += line[static_cast<std::size_t>(std::clamp(i, 0, length - 1))];
                for (int i = 0; i < length; ++i) {
                    alpha(i) = static_cast<uchar>(sum / (2 * box + 1));
                    sum += line[static_cast<std::size_t>(std::min(i + box + 1, length - 1))];
                    sum -= line[static_cast<std::size_t>(std::max(i - box, 0))];
                }
            }
        }
    }
    return image;
}

// A shadow tile: a blurred square whose corners and edges are stretched around any rectangle
// (a nine-patch), so the blur is computed once per density, not per page size. The square is
// large enough that the middle of each edge is untouched by the blur of the corners.
struct ShadowTile {
    QPixmap pixmap;
    int margin = 0;  // pixels between the tile's edge and the solid square
    int band = 0;    // pixels from the tile's edge to its middle row and column
};

ShadowTile shadowTile(double ratio) {
    const int radius = std::max(1, static_cast<int>(std::lround(shadowRadius * ratio)));
    ShadowTile tile{{}, 2 * radius, 4 * radius};
    const int side = 2 * tile.band + 1;
    const QString key = QStringLiteral("tessel-page-shadow-%1").arg(radius);
    if (QPixmapCache::find(key, &tile.pixmap)) return tile;
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.fillRect(
            QRect(tile.margin, tile.margin, side - 2 * tile.margin, side - 2 * tile.margin),
            QColor(0, 0, 0, static_cast<int>(std::lround(255 * shadowOpacity))));
    }
    image = blurred(std::move(image), radius);
    tile.pixmap = QPixmap::fromImage(image.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    QPixmapCache::insert(key, tile.pixmap);
    return tile;
}

void drawShadow(QPainter& painter, const QRectF& page, double ratio) {
    const ShadowTile tile = shadowTile(ratio);
    const double margin = tile.margin / ratio;
    const double band = tile.band / ratio;
    const QRectF outer =
        page.translated(0, shadowOffsetY).adjusted(-margin, -margin, margin, margin);
    if (outer.width() < 2 * band || outer.height() < 2 * band) return;
    const double xs[] = {outer.left(), outer.left() + band, outer.right() - band, outer.right()};
    const double ys[] = {outer.top(), outer.top() + band, outer.bottom() - band, outer.bottom()};
    const double source[] = {0.0, static_cast<double>(tile.band), tile.band + 1.0,
                             2.0 * tile.band + 1.0};
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) {
            const QRectF to(QPointF(xs[column], ys[row]), QPointF(xs[column + 1], ys[row + 1]));
            const QRectF from(QPointF(source[column], source[row]),
                              QPointF(source[column + 1], source[row + 1]));
            if (to.isValid()) painter.drawPixmap(to, tile.pixmap, from);
        }
}

}  // namespace

PageView::PageView(QWidget* parent) : QWidget(parent), spinner_(new Spinner(spinnerSize, this)) {
    spinner_->setAccessibleName(QStringLiteral("Updating preview"));
    spinner_->hide();
    setAccessibleName(QStringLiteral("Sheet preview"));
    setMinimumSize(120, 120);
}

void PageView::setPage(const QByteArray& encoded) {
    if (encoded == data_) return;
    data_ = encoded;
    page_ = QImage::fromData(data_);
    scaled_ = {};
    update();
}

void PageView::setBusy(bool busy) { spinner_->setVisible(busy); }

bool PageView::isBusy() const { return spinner_->isVisible(); }

QRectF PageView::pageRect() const {
    if (page_.isNull()) return {};
    const QRectF room = QRectF(rect()).adjusted(pageInset, pageInset, -pageInset, -pageInset);
    if (room.isEmpty()) return {};
    QSizeF size = QSizeF(page_.size()).scaled(room.size(), Qt::KeepAspectRatio);
    // Whole device pixels keep the page's edges crisp.
    const double ratio = devicePixelRatioF();
    size =
        QSizeF(std::floor(size.width() * ratio) / ratio, std::floor(size.height() * ratio) / ratio);
    const QPointF topLeft(std::round((room.center().x() - size.width() / 2.0) * ratio) / ratio,
                          std::round((room.center().y() - size.height() / 2.0) * ratio) / ratio);
    return {topLeft, size};
}

void PageView::resizeEvent(QResizeEvent* event) {
    spinner_->move(width() - spinnerInset - spinner_->width(), spinnerInset);
    QWidget::resizeEvent(event);
}

void PageView::paintEvent(QPaintEvent*) {
    const QRectF target = pageRect();
    if (target.isEmpty()) return;
    QPainter painter(this);
    const double ratio = devicePixelRatioF();
    drawShadow(painter, target, ratio);

    const QSize pixels(static_cast<int>(std::lround(target.width() * ratio)),
                       static_cast<int>(std::lround(target.height() * ratio)));
    if (scaled_.size() != pixels) {
        scaled_ = QPixmap::fromImage(
            page_.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        scaled_.setDevicePixelRatio(ratio);
    }
    painter.drawPixmap(target.topLeft(), scaled_);
}

}  // namespace tessel::app
