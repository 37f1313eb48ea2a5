#pragma once
/// A colour well: a button showing a swatch of the colour; clicking it opens the colour dialog
/// (no opacity) and reports the picked colour converted to sRGB.

#include <QColor>
#include <QColorDialog>
#include <QPointer>
#include <QPushButton>

#include "tessel/SheetTypes.hpp"

namespace tessel::app {

/// The sRGB colour of `color` (alpha as opacity).
QColor toQColor(const SheetColor& color);
/// The sRGB components of `color`; white when it cannot be converted (an invalid colour).
SheetColor toSheetColor(const QColor& color);

class ColorWell final : public QPushButton {
    Q_OBJECT
public:
    explicit ColorWell(QWidget* parent = nullptr);

    /// The swatch shown; does not emit `picked`.
    void setColor(const QColor& color);
    QColor color() const { return color_; }

    QSize sizeHint() const override;

signals:
    /// The user picked `color` (already sRGB) in the dialog.
    void picked(const SheetColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void openDialog();

    QColor color_;
    QPointer<QColorDialog> dialog_;
};

}  // namespace tessel::app
