// Inspection of arbitrary bytes, through libvips's loaders, the container walks, exiv2 and
// the decoding budget: whatever the bytes, the answer is a picture of at least 1 × 1 and one
// frame, or a TesselError; never a crash, a hang or an allocation beyond the budget.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

#include "FuzzFile.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Well below libFuzzer's own memory limit, so that a file the budget lets through can
    // never be mistaken for a leak of the parsers.
    tessel::TesselRenderer::setDecodingBudget(std::int64_t{256} << 20);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const tessel::fuzz::FuzzFile file(data, size);
    try {
        const tessel::SheetImageInfo info = tessel::TesselRenderer::inspect(file.path());
        if (info.width < 1 || info.height < 1 || info.frameCount != 1) std::abort();
    } catch (const tessel::TesselError&) {
    }
    return 0;
}
