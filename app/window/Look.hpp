#pragma once
/// The window's type scale, colours and spacing, all derived from the application font and
/// palette so that the desktop's theme, font size and light or dark scheme carry through.

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QWidget>
#include <functional>

namespace tessel::app::look {

/// Text styles, each derived from the application font (the body size).
enum class Type {
    title2,       ///< the preview's title: about a third larger, semibold
    headline,     ///< the files pane's title: body size, semibold
    subheadline,  ///< section titles of the options: a little smaller, semibold
    caption,      ///< footers, notes and secondary lines: about 15 % smaller
};

/// The font of `type`, derived from `QApplication::font()`.
QFont font(Type type);

/// Sets `widget`'s font to `type`.
void setType(QWidget* widget, Type type);

/// Label colours: the palette's window text, and two lighter steps towards the window colour
/// (for secondary lines such as counts and sizes, and for hints such as the drag handle).
QColor secondaryText(const QPalette& palette);
QColor tertiaryText(const QPalette& palette);
/// Hairlines between areas.
QColor separator(const QPalette& palette);
/// The background under the preview's page: a step darker than the window.
QColor underPage(const QPalette& palette);
/// Red for validation messages, readable on the light or dark window colour.
QColor validationRed(const QPalette& palette);
/// True when the palette's window is darker than its text.
bool isDark(const QPalette& palette);

/// How strongly text or a symbol stands out: the window text colour, or one of two lighter
/// steps towards the window colour.
enum class Tone { primary, secondary, tertiary };

/// The colour of `tone` in `palette`'s colour group `group`.
QColor toneColor(const QPalette& palette, Tone tone, QPalette::ColorGroup group = QPalette::Active);

/// Paints `widget`'s text in the `tone` colour of the application palette, again whenever that
/// palette changes (light to dark).
void setTone(QWidget* widget, Tone tone);

/// Runs `apply` now and again whenever the application palette changes, for as long as
/// `widget` lives: how a widget keeps colours that it derives from the palette.
void followPalette(QWidget* widget, std::function<void()> apply);

/// Fills `widget`'s background with `role` of its palette.
void setBackground(QWidget* widget, QPalette::ColorRole role);

/// `a` moved towards `b` by `amount` (0 keeps `a`, 1 gives `b`), alpha included.
QColor mix(const QColor& a, const QColor& b, double amount);

/// A one-pixel hairline in the separator colour, horizontal or vertical.
class Separator : public QWidget {
public:
    explicit Separator(Qt::Orientation orientation, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace tessel::app::look
