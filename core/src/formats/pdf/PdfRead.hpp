#pragma once
// Reading back a PDF file's page count and first page size with qpdf.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

namespace tessel::detail {

struct PdfSummary {
    std::int64_t pageCount = 0;
    /// Width and height of page 1's media box in points; absent when there is no page 1 or
    /// it has no readable media box.
    std::optional<std::pair<double, double>> firstPageSize;
};

/// Opens `file` as a PDF without attempting to repair it. Nothing when it cannot be read.
std::optional<PdfSummary> readPDFSummary(const std::filesystem::path& file);

}  // namespace tessel::detail
