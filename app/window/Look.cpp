#include "window/Look.hpp"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <algorithm>

namespace tessel::app::look {
namespace {

// Re-applies a palette-derived setting when the widget's palette changes: a new application
// palette reaches a widget as a change of its own palette, handed down from its window.
class PaletteFollower final : public QObject {
public:
    PaletteFollower(QWidget* widget, std::function<void()> apply)
        : QObject(widget), apply_(std::move(apply)) {
        widget->installEventFilter(this);
        reapply();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::PaletteChange ||
            event->type() == QEvent::ApplicationPaletteChange)
            reapply();
        return QObject::eventFilter(watched, event);
    }

private:
    void reapply() {
        // Setting the palette in `apply_` changes it again: once is enough.
        if (applying_) return;
        applying_ = true;
        apply_();
        applying_ = false;
    }

    std::function<void()> apply_;
    bool applying_ = false;
};

double relativeSize(Type type) {
    switch (type) {
        case Type::title2: return 1.34;
        case Type::headline: return 1.0;
        case Type::subheadline: return 0.92;
        case Type::caption: return 0.86;
    }
    return 1.0;
}

}  // namespace

QFont font(Type type) {
    QFont font = QApplication::font();
    const double body = font.pointSizeF() > 0 ? font.pointSizeF() : 10.0;
    // Below 7.5 points captions stop being readable on a 96-dpi screen.
    font.setPointSizeF(std::max(body * relativeSize(type), 7.5));
    if (type != Type::caption) font.setWeight(QFont::DemiBold);
    return font;
}

void setType(QWidget* widget, Type type) { widget->setFont(font(type)); }

QColor mix(const QColor& a, const QColor& b, double amount) {
    const auto blend = [amount](float x, float y) {
        return static_cast<double>(x) + (static_cast<double>(y) - static_cast<double>(x)) * amount;
    };
    return QColor::fromRgbF(static_cast<float>(blend(a.redF(), b.redF())),
                            static_cast<float>(blend(a.greenF(), b.greenF())),
                            static_cast<float>(blend(a.blueF(), b.blueF())),
                            static_cast<float>(blend(a.alphaF(), b.alphaF())));
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() <
           palette.color(QPalette::WindowText).lightnessF();
}

QColor secondaryText(const QPalette& palette) { return toneColor(palette, Tone::secondary); }

QColor tertiaryText(const QPalette& palette) { return toneColor(palette, Tone::tertiary); }

QColor separator(const QPalette& palette) {
    return mix(palette.color(QPalette::Window), palette.color(QPalette::WindowText),
               isDark(palette) ? 0.22 : 0.16);
}

QColor underPage(const QPalette& palette) {
    return mix(palette.color(QPalette::Window), palette.color(QPalette::Shadow),
               isDark(palette) ? 0.28 : 0.12);
}

QColor validationRed(const QPalette& palette) {
    return isDark(palette) ? QColor(0xff, 0x6b, 0x68) : QColor(0xc0, 0x1c, 0x28);
}

QColor toneColor(const QPalette& palette, Tone tone, QPalette::ColorGroup group) {
    const QColor text = palette.color(group, QPalette::WindowText);
    const QColor window = palette.color(group, QPalette::Window);
    switch (tone) {
        case Tone::primary: return text;
        case Tone::secondary: return mix(text, window, 0.42);
        case Tone::tertiary: return mix(text, window, 0.66);
    }
    return text;
}

void followPalette(QWidget* widget, std::function<void()> apply) {
    new PaletteFollower(widget, std::move(apply));
}

void setTone(QWidget* widget, Tone tone) {
    followPalette(widget, [widget, tone] {
        QPalette palette = widget->palette();
        const QPalette base = QApplication::palette(widget);
        for (const auto group : {QPalette::Active, QPalette::Inactive})
            for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
                palette.setColor(group, role, toneColor(base, tone, group));
        widget->setPalette(palette);
    });
}

void setBackground(QWidget* widget, QPalette::ColorRole role) {
    widget->setBackgroundRole(role);
    widget->setAutoFillBackground(true);
}

Separator::Separator(Qt::Orientation orientation, QWidget* parent) : QWidget(parent) {
    if (orientation == Qt::Horizontal)
        setFixedHeight(1);
    else
        setFixedWidth(1);
}

void Separator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), separator(palette()));
}

}  // namespace tessel::app::look
