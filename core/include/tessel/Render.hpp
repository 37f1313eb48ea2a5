#pragma once
/// Rendering a list of inspected images into finished pages, and writing them as files.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tessel/Inspection.hpp"
#include "tessel/Layout.hpp"
#include "tessel/SheetRecipe.hpp"

namespace tessel {

/// The finished pages of one render.
struct SheetRenderResult {
    /// One encoded image per page: JPEG when the recipe's output is `jpeg`, PNG otherwise.
    std::vector<std::vector<std::uint8_t>> pages;
    /// One PDF document holding every page at `pdfPageSize`; made for every output format.
    std::vector<std::uint8_t> pdf;
    SheetSize pageSize;     ///< raster pixels
    SheetSize pdfPageSize;  ///< points
    std::int64_t itemCount = 0;

    friend bool operator==(const SheetRenderResult&, const SheetRenderResult&) = default;
};

/// Reports how far a render is: pages finished so far out of the page count. Called from
/// the thread that called `render`, in increasing order.
using RenderProgress = std::function<void(std::int64_t pagesDone, std::int64_t pageCount)>;

namespace TesselRenderer {

/// Lays out, draws, encodes and assembles every page. Throws `TesselError`: `noImages`,
/// `invalidLayout`, `cannotRead` naming the first file (in sheet order) that fails,
/// `cannotCreateContext`, `cannotEncode`. The bytes are the same however many threads work.
SheetRenderResult render(const std::vector<SheetInput>& inputs, const SheetRecipe& recipe,
                         const RenderProgress& progress = {});

/// Writes the result into the folder `to` as "{name}.pdf", or "{name}.png"/"{name}.jpg" for
/// one page and "{name}-1.png" ... for several, never replacing an existing file, and reads
/// every file back to verify it. A blank `baseName` becomes "Contact Sheet". Only the
/// recipe's `output` is read. Returns the written files in page order; throws
/// `destinationExists`, `cannotEncode` or `verificationFailed` at the first failure, leaving
/// the files written before it in place.
std::vector<std::filesystem::path> write(const SheetRenderResult& result,
                                         const std::filesystem::path& to,
                                         const std::string& baseName, const SheetRecipe& recipe);

}  // namespace TesselRenderer
}  // namespace tessel
