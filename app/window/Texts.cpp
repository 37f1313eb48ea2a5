#include "window/Texts.hpp"

#include <QLocale>
#include <cmath>

namespace tessel::app::texts {
namespace {

QString plural(std::int64_t n, const char* noun) {
    return QStringLiteral("%1 %2%3").arg(count(n), QLatin1String(noun),
                                         n == 1 ? QString() : QStringLiteral("s"));
}

QString truncated(double value) {
    return QString::number(static_cast<std::int64_t>(std::trunc(value)));
}

}  // namespace

QString count(std::int64_t n) { return QLocale().toString(static_cast<qlonglong>(n)); }

QString images(std::int64_t n) { return plural(n, "image"); }

QString pages(std::int64_t n) { return plural(n, "page"); }

QString filesSkipped(std::int64_t n) { return plural(n, "file") + QStringLiteral(" skipped"); }

QString pageOfPages(std::int64_t page, std::int64_t count) {
    return QStringLiteral("Page %1 of %2").arg(page + 1).arg(count);
}

QString exportProgress(std::int64_t done, std::int64_t total) {
    if (done >= total) return QStringLiteral("Writing the sheet\u2026");
    return QStringLiteral("Exporting page %1 of %2\u2026").arg(done + 1).arg(total);
}

QString printProgress(std::int64_t done, std::int64_t total) {
    if (done >= total) return QStringLiteral("Opening the print dialog\u2026");
    return QStringLiteral("Preparing page %1 of %2 for printing\u2026").arg(done + 1).arg(total);
}

QString summary(const SheetRecipe& recipe) {
    return QStringLiteral("%1 \u00b7 %2 \u00b7 %3 \u00d7 %4 grid")
        .arg(displayName(recipe.paper), displayName(recipe.orientation))
        .arg(recipe.columns)
        .arg(recipe.rows);
}

QString pagePixels(const SheetRecipe& recipe) {
    const SheetSize size = recipe.pageSize();
    return QStringLiteral("%1 \u00d7 %2 px").arg(truncated(size.width), truncated(size.height));
}

QString dimensions(std::int64_t width, std::int64_t height) {
    return QStringLiteral("%1 \u00d7 %2").arg(width).arg(height);
}

QString byteCount(std::int64_t bytes) {
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString percent(double fraction) {
    return QStringLiteral("%1%").arg(std::lround(fraction * 100.0));
}

QString plainInteger(std::int64_t value) {
    QLocale locale;
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    return locale.toString(static_cast<qlonglong>(value));
}

}  // namespace tessel::app::texts
