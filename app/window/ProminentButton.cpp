#include "window/ProminentButton.hpp"

#include <QPainter>
#include <QStyleOptionButton>

#include "window/Look.hpp"

namespace tessel::app {
namespace {

constexpr double radius = 5.0;
constexpr int iconGap = 6;

}  // namespace

ProminentButton::ProminentButton(const QIcon& icon, const QString& text, QWidget* parent)
    : QPushButton(icon, text, parent) {
    setDefault(true);
    setAttribute(Qt::WA_Hover);
}

void ProminentButton::enterEvent(QEnterEvent* event) {
    update();
    QPushButton::enterEvent(event);
}

void ProminentButton::leaveEvent(QEvent* event) {
    update();
    QPushButton::leaveEvent(event);
}

void ProminentButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colours = palette();
    QColor fill = colours.color(QPalette::Active, QPalette::Highlight);
    QColor ink = colours.color(QPalette::Active, QPalette::HighlightedText);
    if (!isEnabled()) {
        fill = look::mix(colours.color(QPalette::Button), colours.color(QPalette::Window), 0.3);
        ink = colours.color(QPalette::Disabled, QPalette::ButtonText);
    } else if (isDown()) {
        fill = fill.darker(118);
    } else if (underMouse()) {
        fill = fill.lighter(108);
    }
    const QRectF box = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    painter.setPen(isEnabled() ? QPen(fill.darker(115), 1.0) : QPen(look::separator(colours), 1.0));
    painter.setBrush(fill);
    painter.drawRoundedRect(box, radius, radius);
    if (hasFocus()) {
        painter.setPen(QPen(look::mix(fill, ink, 0.6), 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(box.adjusted(2.5, 2.5, -2.5, -2.5), radius - 2, radius - 2);
    }

    // Icon and text centred together.
    const QSize iconPixels = icon().isNull() ? QSize() : iconSize();
    const int textWidth = fontMetrics().horizontalAdvance(text());
    const int contentWidth = textWidth + (iconPixels.isEmpty() ? 0 : iconPixels.width() + iconGap);
    int x = (width() - contentWidth) / 2;
    if (!iconPixels.isEmpty()) {
        const QIcon::Mode mode = isEnabled() ? QIcon::Selected : QIcon::Disabled;
        const QPixmap picture = icon().pixmap(iconPixels, devicePixelRatioF(), mode);
        painter.drawPixmap(x, (height() - iconPixels.height()) / 2, picture);
        x += iconPixels.width() + iconGap;
    }
    painter.setPen(ink);
    painter.drawText(QRect(x, 0, textWidth + 1, height()), Qt::AlignVCenter | Qt::AlignLeft,
                     text());
}

}  // namespace tessel::app
