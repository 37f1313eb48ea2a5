#include "window/Spinner.hpp"

#include <QPainter>
#include <QTimerEvent>

namespace tessel::app {
namespace {

constexpr int spokes = 12;
constexpr int frameMs = 80;

}  // namespace

Spinner::Spinner(int diameter, QWidget* parent) : QWidget(parent), diameter_(diameter) {
    setFixedSize(diameter, diameter);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAccessibleName(QStringLiteral("In progress"));
}

QSize Spinner::sizeHint() const { return {diameter_, diameter_}; }

void Spinner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(width() / 2.0, height() / 2.0);
    const double outer = diameter_ / 2.0;
    const double inner = outer * 0.48;
    QPen pen(palette().color(QPalette::WindowText));
    pen.setCapStyle(Qt::RoundCap);
    pen.setWidthF(std::max(1.5, diameter_ / 10.0));
    const double penHalf = pen.widthF() / 2.0;
    for (int i = 0; i < spokes; ++i) {
        // The leading spoke is opaque; the ones behind it fade out.
        const int age = (step_ - i + spokes) % spokes;
        QColor color = pen.color();
        color.setAlphaF(static_cast<float>(1.0 - 0.8 * age / (spokes - 1)));
        pen.setColor(color);
        painter.setPen(pen);
        painter.save();
        painter.rotate(360.0 * i / spokes);
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer + penHalf));
        painter.restore();
    }
}

void Spinner::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_.timerId()) return QWidget::timerEvent(event);
    step_ = (step_ + 1) % spokes;
    update();
}

void Spinner::showEvent(QShowEvent* event) {
    timer_.start(frameMs, this);
    QWidget::showEvent(event);
}

void Spinner::hideEvent(QHideEvent* event) {
    timer_.stop();
    QWidget::hideEvent(event);
}

}  // namespace tessel::app
