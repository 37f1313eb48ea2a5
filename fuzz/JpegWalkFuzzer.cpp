// The JPEG marker walk on arbitrary bytes: inspection's walk to the end of the file, the PDF
// writer's frame header and the coefficient estimate must never crash, read out of bounds or
// disagree on what they found.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "FuzzFile.hpp"
#include "formats/jpeg/Jpeg.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tessel::detail;
    const std::span<const std::uint8_t> bytes(data, size);
    const auto frame = readJPEGFrame(bytes);
    if (frame && (frame->width < 1 || frame->height < 1)) std::abort();
    (void)progressiveCoefficientBytes(bytes);
    const tessel::fuzz::FuzzFile file(data, size);
    (void)walkJpeg(file.path());
    (void)jpegDecodingCost(file.path());
    return 0;
}
