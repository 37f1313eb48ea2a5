// The HEIF box walk on arbitrary bytes: boxes inside boxes, 64-bit sizes, item lists and
// sample tables must never crash, read out of bounds or count a negative number of frames.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "FuzzFile.hpp"
#include "formats/heif/Heif.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const tessel::fuzz::FuzzFile file(data, size);
    const auto facts = tessel::detail::walkHeif(file.path());
    if (facts && facts->frameCount && *facts->frameCount < 0) std::abort();
    return 0;
}
