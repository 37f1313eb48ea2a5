#pragma once
/// The window's icons: the desktop theme's icon under its freedesktop name when the theme has
/// one, else Tessel's own line drawing (`app/window/symbols/`), painted in the palette's text
/// colour so that it follows light and dark palettes and the disabled state.

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QSize>
#include <QToolButton>
#include <QWidget>

#include "window/Look.hpp"

namespace tessel::app {

enum class Symbol {
    plus,          ///< list-add
    folder,        ///< folder-open
    sort,          ///< view-sort
    photo,         ///< image-x-generic (a photo on an angled card)
    dragHandle,    ///< three lines; our own drawing only
    chevronUp,     ///< go-up
    chevronDown,   ///< go-down
    chevronLeft,   ///< go-previous
    chevronRight,  ///< go-next
    grid,          ///< view-grid (a 3 × 2 grid)
    photoStack,    ///< a stack of photos; our own drawing only
    docs,          ///< edit-copy (two sheets)
    plusCircle,    ///< list-add (a plus in a circle)
    trash,         ///< edit-delete
    printer,       ///< document-print
    save,          ///< document-save (an arrow into a tray)
};

/// The freedesktop icon name of `symbol`; empty for the two drawn only by us.
QString themeName(Symbol symbol);

/// The theme's icon, or our drawing in the `tone` colour of the application palette.
QIcon symbolIcon(Symbol symbol, look::Tone tone = look::Tone::primary);

/// Our drawing of `symbol` in `color`, `size` logical pixels at `devicePixelRatio`.
QPixmap symbolPixmap(Symbol symbol, QSize size, double devicePixelRatio, const QColor& color);

/// A borderless button showing only `symbol`; `help` is its tool tip and its name for screen
/// readers.
QToolButton* symbolButton(Symbol symbol, const QString& help, QWidget* parent,
                          look::Tone tone = look::Tone::primary);

/// A symbol on its own, `size` logical pixels square, drawn at the screen's pixel density in
/// the `tone` colour of the widget's palette.
class SymbolLabel final : public QWidget {
public:
    SymbolLabel(Symbol symbol, int size, look::Tone tone, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Symbol symbol_;
    look::Tone tone_;
};

}  // namespace tessel::app
