#include "window/Symbols.hpp"

#include <QApplication>
#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <cmath>

namespace tessel::app {
namespace {

struct SymbolFile {
    Symbol symbol;
    const char* theme;
    const char* file;
};

constexpr SymbolFile symbolFiles[] = {
    {Symbol::plus, "list-add", "plus"},
    {Symbol::folder, "folder-open", "folder"},
    {Symbol::sort, "view-sort", "sort"},
    {Symbol::photo, "image-x-generic", "photo"},
    {Symbol::dragHandle, "", "drag-handle"},
    {Symbol::chevronUp, "go-up", "chevron-up"},
    {Symbol::chevronDown, "go-down", "chevron-down"},
    {Symbol::chevronLeft, "go-previous", "chevron-left"},
    {Symbol::chevronRight, "go-next", "chevron-right"},
    {Symbol::grid, "view-grid", "grid"},
    {Symbol::photoStack, "", "photo-stack"},
    {Symbol::docs, "edit-copy", "docs"},
    {Symbol::plusCircle, "list-add", "plus-circle"},
    {Symbol::trash, "edit-delete", "trash"},
    {Symbol::printer, "document-print", "printer"},
    {Symbol::save, "document-save", "save"},
};

const SymbolFile& entry(Symbol symbol) {
    for (const SymbolFile& file : symbolFiles)
        if (file.symbol == symbol) return file;
    Q_UNREACHABLE();
}

// The drawing's source with "currentColor" replaced by `color`: QtSvg draws SVG Tiny, which
// has no inherited colour to take it from.
QByteArray tintedSource(Symbol symbol, const QColor& color) {
    QFile file(QStringLiteral(":/symbols/%1.svg").arg(QLatin1String(entry(symbol).file)));
    if (!file.open(QIODevice::ReadOnly)) return {};
    QByteArray source = file.readAll();
    source.replace("currentColor", color.name(QColor::HexRgb).toLatin1());
    if (color.alpha() < 255)
        source.replace("<svg ",
                       QByteArray("<svg opacity=\"") +
                           QByteArray::number(static_cast<double>(color.alphaF()), 'f', 3) + "\" ");
    return source;
}

// Draws our symbol in the colour of its tone and of the icon's mode, taken from the
// application palette each time it is painted.
class SymbolEngine final : public QIconEngine {
public:
    SymbolEngine(Symbol symbol, look::Tone tone) : symbol_(symbol), tone_(tone) {}

    QIconEngine* clone() const override { return new SymbolEngine(symbol_, tone_); }
    QString key() const override { return QStringLiteral("TesselSymbol"); }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
               QIcon::State state) override {
        const double ratio = painter->device() ? painter->device()->devicePixelRatio() : 1.0;
        painter->drawPixmap(rect, scaledPixmap(rect.size(), mode, state, ratio));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal scale) override {
        return symbolPixmap(symbol_, size, scale, color(mode));
    }

    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override { return size; }

private:
    QColor color(QIcon::Mode mode) const {
        const QPalette palette = QApplication::palette();
        switch (mode) {
            case QIcon::Disabled: return look::toneColor(palette, tone_, QPalette::Disabled);
            case QIcon::Selected: return palette.color(QPalette::HighlightedText);
            case QIcon::Normal:
            case QIcon::Active: break;
        }
        return look::toneColor(palette, tone_);
    }

    Symbol symbol_;
    look::Tone tone_;
};

}  // namespace

QString themeName(Symbol symbol) { return QLatin1String(entry(symbol).theme); }

QIcon symbolIcon(Symbol symbol, look::Tone tone) {
    const QString name = themeName(symbol);
    QIcon own(new SymbolEngine(symbol, tone));
    return name.isEmpty() ? own : QIcon::fromTheme(name, own);
}

QPixmap symbolPixmap(Symbol symbol, QSize size, double devicePixelRatio, const QColor& color) {
    const QSize pixels(static_cast<int>(std::lround(size.width() * devicePixelRatio)),
                       static_cast<int>(std::lround(size.height() * devicePixelRatio)));
    if (pixels.isEmpty()) return {};
    const QString cacheKey = QStringLiteral("tessel-symbol-%1-%2x%3-%4")
                                 .arg(static_cast<int>(symbol))
                                 .arg(pixels.width())
                                 .arg(pixels.height())
                                 .arg(color.rgba(), 8, 16);
    QPixmap pixmap;
    if (!QPixmapCache::find(cacheKey, &pixmap)) {
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QSvgRenderer renderer(tintedSource(symbol, color));
        QPainter painter(&image);
        // Square drawings stay square inside a frame of another shape.
        const int side = std::min(pixels.width(), pixels.height());
        renderer.render(&painter, QRectF((pixels.width() - side) / 2.0,
                                         (pixels.height() - side) / 2.0, side, side));
        painter.end();
        pixmap = QPixmap::fromImage(std::move(image));
        QPixmapCache::insert(cacheKey, pixmap);
    }
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QToolButton* symbolButton(Symbol symbol, const QString& help, QWidget* parent, look::Tone tone) {
    auto* button = new QToolButton(parent);
    button->setIcon(symbolIcon(symbol, tone));
    button->setAutoRaise(true);
    button->setToolTip(help);
    button->setAccessibleName(help);
    return button;
}

SymbolLabel::SymbolLabel(Symbol symbol, int size, look::Tone tone, QWidget* parent)
    : QWidget(parent), symbol_(symbol), tone_(tone) {
    setFixedSize(size, size);
}

void SymbolLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const auto group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    painter.drawPixmap(0, 0,
                       symbolPixmap(symbol_, size(), devicePixelRatioF(),
                                    look::toneColor(palette(), tone_, group)));
}

}  // namespace tessel::app
