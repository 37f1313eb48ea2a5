#pragma once
/// The texts the window composes from the model: counts with their plural forms, sizes, the
/// preview's summary line. Pure functions, in the current locale where numbers are shown.

#include <QString>
#include <cstdint>
#include <string_view>

#include "tessel/SheetRecipe.hpp"
#include "tessel/SheetTypes.hpp"

namespace tessel::app::texts {

/// The display name of an enumeration case ("US Letter", "Filename + date").
template <class E>
QString displayName(E value) {
    const std::string_view text = tessel::name(value);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// A count in the locale's integer format ("1,204" in English).
QString count(std::int64_t n);
/// "{n} image", with "s" unless n is exactly 1: "0 images", "1 image", "2 images".
QString images(std::int64_t n);
/// "{n} page", with "s" unless n is exactly 1.
QString pages(std::int64_t n);
/// "1 file skipped", "3 files skipped".
QString filesSkipped(std::int64_t n);
/// "Page {n} of {m}" for the zero-based `page` of `count` pages.
QString pageOfPages(std::int64_t page, std::int64_t count);
/// "Exporting page {n} of {m}…" while page n is drawn; "Writing the sheet…" once every page is.
QString exportProgress(std::int64_t done, std::int64_t total);
/// "Preparing page {n} of {m} for printing…", then "Opening the print dialog…".
QString printProgress(std::int64_t done, std::int64_t total);
/// "{paper} · {orientation} · {columns} × {rows} grid", e.g. "A4 · Portrait · 3 × 4 grid".
QString summary(const SheetRecipe& recipe);
/// "{width} × {height} px" of the recipe's raster page, each side truncated to an integer.
QString pagePixels(const SheetRecipe& recipe);
/// "{width} × {height}" of an image in pixels.
QString dimensions(std::int64_t width, std::int64_t height);
/// A byte count in decimal (SI) units, one decimal: "12.4 MB", "512 bytes".
QString byteCount(std::int64_t bytes);
/// A quality from 0 to 1 as a whole percentage: "85%".
QString percent(double fraction);
/// An integer for a number field: the locale's digits, no grouping ("2480", "-5").
QString plainInteger(std::int64_t value);

}  // namespace tessel::app::texts
