#pragma once
// The render driver with an explicit number of worker threads.

#include <vector>

#include "tessel/Render.hpp"

namespace tessel::detail {

/// `TesselRenderer::render` on `workers` threads (raised to 1; `render` uses
/// `WorkerPool::defaultThreads`). Pictures are decoded on every
/// worker at once and drawn in sheet order, pages are encoded as soon as they are complete and
/// their bitmaps dropped; the result does not depend on the number of workers.
SheetRenderResult renderWithWorkers(const std::vector<SheetInput>& inputs,
                                    const SheetRecipe& recipe, const RenderOptions& options,
                                    int workers);

}  // namespace tessel::detail
