// Decoding arbitrary bytes as a recipe must never crash, and whatever decodes must survive
// a round trip through its own encoding unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tessel/SheetRecipe.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const tessel::SheetRecipe recipe = tessel::decodeRecipeJSON(text);
        (void)recipe.pageSize();
        (void)recipe.pdfPageSize();
        (void)recipe.effectiveCaptionAlignment();
        if (!(tessel::decodeRecipeJSON(tessel::encodeJSON(recipe)) == recipe)) std::abort();
    } catch (const tessel::RecipeDecodingError&) {
    }
    return 0;
}
