#include "window/ColorWell.hpp"

#include <QColorDialog>
#include <QPainter>
#include <QStyleOptionButton>
#include <QStylePainter>
#include <algorithm>

#include "window/Look.hpp"

namespace tessel::app {

QColor toQColor(const SheetColor& color) {
    // Components outside 0...1 are kept in the recipe; the swatch shows them clamped.
    const auto unit = [](double value) { return static_cast<float>(std::clamp(value, 0.0, 1.0)); };
    return QColor::fromRgbF(unit(color.red), unit(color.green), unit(color.blue),
                            unit(color.alpha));
}

SheetColor toSheetColor(const QColor& color) {
    if (!color.isValid()) return SheetColor::white();
    const QColor rgb = color.toRgb();  // HSV, HSL and CMYK picks become sRGB components
    return {static_cast<double>(rgb.redF()), static_cast<double>(rgb.greenF()),
            static_cast<double>(rgb.blueF()), static_cast<double>(rgb.alphaF())};
}

ColorWell::ColorWell(QWidget* parent) : QPushButton(parent) {
    connect(this, &QPushButton::clicked, this, &ColorWell::openDialog);
}

void ColorWell::setColor(const QColor& color) {
    if (color_ == color) return;
    color_ = color;
    update();
}

QSize ColorWell::sizeHint() const { return {48, QPushButton::sizeHint().height()}; }

void ColorWell::openDialog() {
    if (dialog_) {
        dialog_->raise();
        return;
    }
    auto* dialog = new QColorDialog(color_, window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(accessibleName().isEmpty() ? QStringLiteral("Color") : accessibleName());
    dialog->setOption(QColorDialog::ShowAlphaChannel, false);
    connect(dialog, &QColorDialog::colorSelected, this,
            [this](const QColor& chosen) { emit picked(toSheetColor(chosen)); });
    dialog_ = dialog;
    dialog->open();
}

void ColorWell::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text.clear();
    painter.drawControl(QStyle::CE_PushButtonBevel, option);

    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF swatch = QRectF(rect()).adjusted(6.5, 5.5, -6.5, -5.5);
    painter.setPen(QPen(look::separator(palette()).darker(115), 1.0));
    painter.setBrush(color_);
    painter.drawRoundedRect(swatch, 3, 3);
}

}  // namespace tessel::app
