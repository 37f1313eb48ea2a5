#include <cctype>
#include <cmath>
#include <memory>
#include <mutex>

#include <vips/vips.h>

#include "tessel/TesselError.hpp"

#include "encode/Qpdf.hpp"
#include "output/Output.hpp"

namespace tessel::detail {
namespace {

constexpr const char* kPdfPageCount = "PDF page count does not match";
constexpr const char* kPdfPageSize = "PDF page size does not match";
constexpr const char* kImageMismatch = "dimensions or page count do not match";

// TODO(merge): replace with ensureVipsStarted() once the decoding area lands.
void startVips() {
    static std::once_flag once;
    std::call_once(once, [] { VIPS_INIT("tessel"); });
}

struct GObjectDeleter {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};

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
    startVips();
    // Reading the header only; a loader is picked by the file's contents, not its name.
    std::unique_ptr<VipsImage, GObjectDeleter> image{
        vips_image_new_from_file(file.c_str(), "access", VIPS_ACCESS_SEQUENTIAL, nullptr)};
    if (!image) {
        vips_error_clear();
        throw TesselError::verificationFailed(kImageMismatch);
    }
    if (vips_image_get_n_pages(image.get()) != expectedPages ||
        !matchesPixels(vips_image_get_width(image.get()), size.width) ||
        !matchesPixels(vips_image_get_height(image.get()), size.height))
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
