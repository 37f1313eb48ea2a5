#include <cctype>
#include <cmath>

#include "tessel/TesselError.hpp"

#include "decode/ImageHeader.hpp"
#include "formats/pdf/PdfRead.hpp"
#include "output/Output.hpp"

namespace tessel::detail {
namespace {

constexpr const char* kPdfPageCount = "PDF page count does not match";
constexpr const char* kPdfPageSize = "PDF page size does not match";
constexpr const char* kImageMismatch = "dimensions or page count do not match";

bool hasPdfExtension(const std::filesystem::path& file) {
    const std::string extension = file.extension().string();
    if (extension.size() != 4) return false;
    std::string lower;
    for (const char c : extension)
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower == ".pdf";
}

// The size converted as an integer conversion would, dropping the fraction; a size that
// has no such integer matches nothing.
bool matchesPixels(int pixels, double size) {
    if (!std::isfinite(size) || size <= -1 || size >= 2147483648.0) return false;
    return pixels == static_cast<int>(std::trunc(size));
}

void verifyPDF(const std::filesystem::path& file, std::int64_t expectedPages, SheetSize size) {
    const auto summary = readPDFSummary(file);
    if (!summary || summary->pageCount != expectedPages || summary->pageCount < 1)
        throw TesselError::verificationFailed(kPdfPageCount);
    const auto box = summary->firstPageSize;
    if (!box || !(std::abs(box->first - size.width) < 0.5) ||
        !(std::abs(box->second - size.height) < 0.5))
        throw TesselError::verificationFailed(kPdfPageSize);
}

void verifyImage(const std::filesystem::path& file, std::int64_t expectedPages, SheetSize size) {
    const auto header = readWrittenImageHeader(file);
    if (!header || header->pageCount != expectedPages ||
        !matchesPixels(header->width, size.width) || !matchesPixels(header->height, size.height))
        throw TesselError::verificationFailed(kImageMismatch);
}

}  // namespace

void verify(const std::filesystem::path& file, std::int64_t expectedPages, SheetSize size) {
    if (hasPdfExtension(file))
        verifyPDF(file, expectedPages, size);
    else
        verifyImage(file, expectedPages, size);
}

}  // namespace tessel::detail
