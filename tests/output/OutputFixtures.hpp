#pragma once
// Render results made from small generated pages, without going through the renderer.

#include <string>
#include <vector>

#include "tessel/Render.hpp"

#include "PageBitmaps.hpp"
#include "encode/Encode.hpp"

namespace tessel::testing {

/// A recipe whose only field `write` reads is `output`.
inline SheetRecipe recipeWithOutput(SheetOutputFormat output) {
    SheetRecipe result = recipe(SheetPreset::contact);
    result.output = output;
    return result;
}

/// `count` pages of `width` × `height` pixels encoded for `output`, and their PDF at
/// `pdfPageSize`.
inline SheetRenderResult makeResult(SheetOutputFormat output, int count, std::int64_t width = 24,
                                    std::int64_t height = 32, SheetSize pdfPageSize = {612, 792}) {
    SheetRenderResult result;
    std::vector<detail::Bitmap> bitmaps;
    for (int i = 0; i < count; ++i) {
        bitmaps.push_back(noiseBitmap(width, height, static_cast<unsigned>(i)));
        result.pages.push_back(*detail::encode(
            bitmaps.back(), output == SheetOutputFormat::jpeg ? output : SheetOutputFormat::png,
            0.9));
    }
    result.pdf = detail::makePDF(bitmaps, pdfPageSize);
    result.pageSize = {static_cast<double>(width), static_cast<double>(height)};
    result.pdfPageSize = pdfPageSize;
    result.itemCount = count;
    return result;
}

}  // namespace tessel::testing
