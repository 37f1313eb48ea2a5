#include "formats/pdf/PdfRead.hpp"

#include <cmath>
#include <exception>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

namespace tessel::detail {

std::optional<PdfSummary> readPDFSummary(const std::filesystem::path& file) {
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        // A file that needs repairing was not written completely.
        pdf.setAttemptRecovery(false);
        pdf.processFile(file.c_str());
        auto pages = QPDFPageDocumentHelper(pdf).getAllPages();
        PdfSummary summary;
        summary.pageCount = static_cast<std::int64_t>(pages.size());
        if (!pages.empty()) {
            QPDFObjectHandle box = pages.front().getMediaBox();
            if (box.isRectangle()) {
                const auto rect = box.getArrayAsRectangle();
                summary.firstPageSize = {std::abs(rect.urx - rect.llx),
                                         std::abs(rect.ury - rect.lly)};
            }
        }
        return summary;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace tessel::detail
