#pragma once
/// Rendering a list of inspected images into finished pages, and writing them as files.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tessel/Inspection.hpp"
#include "tessel/Layout.hpp"
#include "tessel/PictureCache.hpp"
#include "tessel/SheetRecipe.hpp"

namespace tessel {

/// The finished pages of one render.
struct SheetRenderResult {
    /// One encoded image per page: JPEG when the recipe's output is `jpeg`, PNG otherwise.
    std::vector<std::vector<std::uint8_t>> pages;
    /// One PDF document holding every page at `pdfPageSize`, titled with the recipe's title;
    /// made for every output format. It has no creation date, so the same sheet gives the same
    /// bytes; `write` dates the PDF it writes with `madeAt`.
    std::vector<std::uint8_t> pdf;
    SheetSize pageSize;     ///< raster pixels
    SheetSize pdfPageSize;  ///< points
    std::int64_t itemCount = 0;
    /// When the sheet was made: the date its footers give, and the creation date of the PDF
    /// that `write` makes of it.
    std::chrono::system_clock::time_point madeAt;

    /// Pages, PDF, sizes and item count equal: the same sheet, whenever it was made.
    friend bool operator==(const SheetRenderResult& a, const SheetRenderResult& b) {
        return a.pages == b.pages && a.pdf == b.pdf && a.pageSize == b.pageSize &&
               a.pdfPageSize == b.pdfPageSize && a.itemCount == b.itemCount;
    }
};

namespace detail {
class PageSpool;
}  // namespace detail

/// The finished pages of one render waiting in an unnamed spool file rather than in memory,
/// for writing them out with `TesselRenderer::write`. The file goes when the value does.
/// Move-only.
class SpooledSheet {
public:
    SpooledSheet(std::unique_ptr<detail::PageSpool> spool, SheetSize pageSize,
                 SheetSize pdfPageSize, std::int64_t itemCount,
                 std::chrono::system_clock::time_point madeAt);
    SpooledSheet(SpooledSheet&&) noexcept;
    SpooledSheet& operator=(SpooledSheet&&) noexcept;
    ~SpooledSheet();

    std::int64_t pageCount() const;
    SheetSize pageSize() const { return pageSize_; }        ///< raster pixels
    SheetSize pdfPageSize() const { return pdfPageSize_; }  ///< points
    std::int64_t itemCount() const { return itemCount_; }
    /// When the sheet was made: its footers' date and its PDF's creation date.
    std::chrono::system_clock::time_point madeAt() const { return madeAt_; }
    /// The spool itself, for the core's writer.
    detail::PageSpool& spool() const { return *spool_; }

private:
    std::unique_ptr<detail::PageSpool> spool_;
    SheetSize pageSize_;
    SheetSize pdfPageSize_;
    std::int64_t itemCount_ = 0;
    std::chrono::system_clock::time_point madeAt_;
};

/// Reports how far a render is: pages finished so far out of the page count. Called from
/// the thread that called `render`, in increasing order.
using RenderProgress = std::function<void(std::int64_t pagesDone, std::int64_t pageCount)>;

/// Asks a render that nobody waits for any more to stop. Shared between the thread that
/// cancels and the render; once cancelled it stays so.
class RenderCancellation {
public:
    void cancel() noexcept { cancelled_.store(true, std::memory_order_relaxed); }
    bool isCancelled() const noexcept { return cancelled_.load(std::memory_order_relaxed); }
    /// The flag itself, for a decoder that looks at it between reads of its file.
    const std::atomic<bool>& flag() const noexcept { return cancelled_; }

private:
    std::atomic<bool> cancelled_{false};
};

/// Thrown by `render` when its cancellation stopped it before the result was complete.
class RenderCancelled : public std::exception {
public:
    const char* what() const noexcept override { return "the render was cancelled"; }
};

/// Which cached pictures a render may draw.
enum class CachedPictures {
    /// Only pictures decoded at the very bound a cell asks for: the result is byte for byte
    /// that of a render without a cache.
    exact,
    /// Also a cached picture within a fifth of the bound either way, as it is, or a larger
    /// one reduced in memory. Each picture is also kept at the size its cell draws it, so an
    /// edit that keeps the cells' size draws it without resampling. For previews: an edit
    /// that resizes the cells decodes nothing, and the pages differ from an exact render only
    /// in resampling.
    nearest,
};

/// How a render compresses its PNG pages.
enum class PageCompression {
    /// As exports write them.
    compact,
    /// Rows stored as they are: about a tenth of the encoding time and several times the
    /// bytes, for pages that are shown at once and never written (previews).
    none,
};

/// What a render may use besides its inputs and recipe. The defaults are a plain render.
struct RenderOptions {
    /// Decoded pictures to take from and keep; none decodes every picture.
    PictureCache* pictures = nullptr;
    CachedPictures reuse = CachedPictures::exact;
    /// Checked before every picture and page; none renders to the end.
    const RenderCancellation* cancellation = nullptr;
    RenderProgress progress = {};
    PageCompression compression = PageCompression::compact;
    /// The date the footers give, when the sheet was made; none takes the time the render
    /// starts. Pages of one sheet drawn on their own (`renderPage`) pass the same time.
    std::optional<std::chrono::system_clock::time_point> madeAt = std::nullopt;
};

namespace TesselRenderer {

/// Lays out, draws, encodes and assembles every page. Throws `TesselError`: `noImages`,
/// `invalidLayout`, `cannotRead` naming the first file (in sheet order) that fails,
/// `cannotCreateContext`, `cannotEncode`. The bytes are the same however many threads work.
SheetRenderResult render(const std::vector<SheetInput>& inputs, const SheetRecipe& recipe,
                         const RenderProgress& progress = {});

/// `render` with a picture cache, a cancellation or both. With `CachedPictures::exact` the
/// result is the same as without a cache. Throws `RenderCancelled` once the cancellation is
/// set before the last page and the PDF are done (a render that ended is returned whole);
/// otherwise as `render`.
SheetRenderResult render(const std::vector<SheetInput>& inputs, const SheetRecipe& recipe,
                         const RenderOptions& options);

/// `render` for a job of any size: the same pages, each put into a spool file as soon as it
/// is encoded, so memory holds a few pages whatever the page count. The spool lives in
/// `spoolFolder` (the output folder) where it can hold an unnamed file, else in the
/// temporary folder. Throws what `render` throws; `cannotEncode` when the spool cannot be
/// made or written. No PDF is made until the sheet is written.
SpooledSheet renderSpooled(const std::vector<SheetInput>& inputs, const SheetRecipe& recipe,
                           const std::filesystem::path& spoolFolder,
                           const RenderOptions& options = {});

/// How many pages `recipe` lays `itemCount` images out on, from the layout alone. Throws as
/// `cells` does.
std::int64_t pageCount(std::int64_t itemCount, const SheetRecipe& recipe);

/// Draws and encodes page `page` (from 0) of the sheet that `render` makes of `inputs`, and
/// nothing else: only that page's pictures are decoded, and the bytes are those of the same
/// page of `render` with the same options (its footer numbers it in the whole sheet). `page` must
/// be below `pageCount`. Throws as `render` does (`cannotRead` naming the page's first file that
/// fails), and `RenderCancelled`.
std::vector<std::uint8_t> renderPage(const std::vector<SheetInput>& inputs,
                                     const SheetRecipe& recipe, std::int64_t page,
                                     const RenderOptions& options = {});

/// One PDF document of encoded pages (as `render` makes them), each page `pdfPageSize` points,
/// titled `title` (none when empty) and dated now.
/// Throws `cannotCreateContext` when a page cannot be taken apart or the document cannot be
/// built.
std::vector<std::uint8_t> makePDF(const std::vector<std::vector<std::uint8_t>>& pages,
                                  SheetSize pdfPageSize, const std::string& title = {});

/// `thumbnailData` made, where it can be, from a picture that a render already keeps in
/// `cache` (counted as reused): the smallest picture of the file decoded or reduced for at
/// least `maxPixelSize`, reduced again in memory. Without one the file is decoded as
/// `thumbnailData` does, and nothing is kept. Nothing when the file cannot be read, or when
/// `cancellation` stopped the decoding (a JPEG stops within a fraction of its file). Never
/// throws.
std::optional<std::vector<std::uint8_t>> thumbnailData(
    const std::filesystem::path& file, std::int64_t maxPixelSize, PictureCache& cache,
    const RenderCancellation* cancellation = nullptr);

/// Writes the result into the folder `to` as "{name}.pdf", or "{name}.png"/"{name}.jpg" for
/// one page and "{name}-1.png" ... for several, never replacing an existing file, and reads
/// every file back to verify it. A blank `baseName` becomes "Contact Sheet". The PDF is the
/// result's pages put together again, titled with the recipe's title or else the file's base
/// name and dated `madeAt`. Only the recipe's `output` and `title` are read. Returns the written
/// files in page order; throws `destinationExists`, `cannotEncode` or `verificationFailed` at the
/// first failure, leaving the files written before it in place.
std::vector<std::filesystem::path> write(const SheetRenderResult& result,
                                         const std::filesystem::path& to,
                                         const std::string& baseName, const SheetRecipe& recipe);

/// `write` for a spooled sheet: the same files with the same bytes, the PDF assembled from
/// the spool straight into its file, and image pages copied from the spool one at a time.
std::vector<std::filesystem::path> write(const SpooledSheet& sheet, const std::filesystem::path& to,
                                         const std::string& baseName, const SheetRecipe& recipe);

/// `write` under the first free one of the names `baseName`, "`baseName` 2", "`baseName` 3"
/// and so on: a name is free when none of the files the sheet is written as under it exists
/// ("Trip 2-1.png" and "Trip 2-2.png" both for two PNG pages). Two writers never end up with
/// one name: when a file appears at one of the names meanwhile, the files written under that
/// name are removed and the sheet goes whole to the next. Returns the written files in page
/// order; throws `destinationExists` when no name up to "`baseName` 9999" is free, otherwise
/// as `write`.
std::vector<std::filesystem::path> writeUnderFreeName(const SpooledSheet& sheet,
                                                      const std::filesystem::path& to,
                                                      const std::string& baseName,
                                                      const SheetRecipe& recipe);

}  // namespace TesselRenderer
}  // namespace tessel
