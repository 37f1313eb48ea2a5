#pragma once
/// `SheetPreview`: the live preview of a sheet as far as it is drawn. The whole sheet's page
/// count and sizes come from its layout; pages are drawn one at a time, the one on screen
/// first, so a sheet of thousands of images costs no more per edit than a sheet of one page.

#include <QtGlobal>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "tessel/Inspection.hpp"
#include "tessel/SheetRecipe.hpp"

namespace tessel::app {

/// What every page of one preview is drawn from: the inputs and the recipe at the moment the
/// preview was scheduled, and the page count their layout gives. Shared by the page renders.
struct PreviewSheet {
    quint64 task = 0;  ///< the model's `previewTask` that scheduled it
    std::vector<SheetInput> inputs;
    SheetRecipe recipe;
    qint64 pageCount = 0;
    /// The date its footers give, the same on every page.
    std::chrono::system_clock::time_point madeAt;
};

/// The pages of one preview drawn so far.
struct SheetPreview {
    /// Encoded pages by page index from 0: PNG with rows stored as they are, quick to make and
    /// to show, or JPEG for JPEG output as an export encodes it. Pages far from the one on
    /// screen are dropped.
    std::map<qint64, std::vector<std::uint8_t>> pages;
    qint64 pageCount = 0;   ///< of the whole sheet
    SheetSize pageSize;     ///< raster pixels
    SheetSize pdfPageSize;  ///< points
    qint64 itemCount = 0;
    /// What the pages were drawn from. Not compared: two previews that look the same are equal.
    std::shared_ptr<const PreviewSheet> sheet;

    /// True when every page of the sheet is drawn.
    bool holdsEveryPage() const { return static_cast<qint64>(pages.size()) == pageCount; }

    friend bool operator==(const SheetPreview& a, const SheetPreview& b) {
        return a.pages == b.pages && a.pageCount == b.pageCount && a.pageSize == b.pageSize &&
               a.pdfPageSize == b.pdfPageSize && a.itemCount == b.itemCount;
    }
};

/// How far a long job is: pages finished out of all of them.
struct PageProgress {
    qint64 done = 0;
    qint64 total = 0;
    friend bool operator==(const PageProgress&, const PageProgress&) = default;
};

}  // namespace tessel::app
