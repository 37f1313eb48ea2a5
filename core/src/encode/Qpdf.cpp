#include "encode/Qpdf.hpp"

#include <cmath>
#include <exception>

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

namespace tessel::detail {
namespace {

QPDFObjectHandle makeImageStream(QPDF& pdf, const PdfImageData& image) {
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf);
    QPDFObjectHandle parameters = QPDFObjectHandle::newNull();
    std::string filter = "/DCTDecode";
    if (image.filter == PdfImageData::Filter::flatePng) {
        filter = "/FlateDecode";
        parameters = QPDFObjectHandle::parse(
            "<< /Predictor 15 /Colors " + std::to_string(image.colors) +
            " /BitsPerComponent 8 /Columns " + std::to_string(image.width) + " >>");
    }
    stream.replaceStreamData(image.data, QPDFObjectHandle::newName(filter), parameters);
    QPDFObjectHandle dict = stream.getDict();
    dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    dict.replaceKey("/Width", QPDFObjectHandle::newInteger(image.width));
    dict.replaceKey("/Height", QPDFObjectHandle::newInteger(image.height));
    dict.replaceKey("/ColorSpace",
                    QPDFObjectHandle::newName(image.colors == 1 ? "/DeviceGray" : "/DeviceRGB"));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    return stream;
}

}  // namespace

struct PdfBuilder::State {
    QPDF pdf;
};

PdfBuilder::PdfBuilder() : state_(std::make_unique<State>()) { state_->pdf.emptyPDF(); }

PdfBuilder::~PdfBuilder() = default;

void PdfBuilder::addPage(const std::string& width, const std::string& height,
                         const PdfImageData& color, const PdfImageData* alpha) {
    QPDF& pdf = state_->pdf;
    QPDFObjectHandle picture = makeImageStream(pdf, color);
    if (alpha != nullptr) picture.getDict().replaceKey("/SMask", makeImageStream(pdf, *alpha));

    QPDFObjectHandle contents =
        QPDFObjectHandle::newStream(&pdf, "q " + width + " 0 0 " + height + " 0 0 cm /Im0 Do Q\n");
    QPDFObjectHandle page =
        QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 " + width + " " + height + "] >>");
    page.replaceKey("/Resources", QPDFObjectHandle::parse("<< /XObject << >> >>"));
    page.getKey("/Resources").getKey("/XObject").replaceKey("/Im0", picture);
    page.replaceKey("/Contents", contents);
    QPDFPageDocumentHelper(pdf).addPage(QPDFPageObjectHelper(pdf.makeIndirectObject(page)), false);
}

std::vector<std::uint8_t> PdfBuilder::finish() {
    QPDFWriter writer(state_->pdf);
    writer.setOutputMemory();
    // Image streams are already compressed; they are written exactly as given.
    writer.setDecodeLevel(qpdf_dl_none);
    writer.setDeterministicID(true);
    writer.setMinimumPDFVersion("1.4");  // soft masks
    writer.write();
    const std::shared_ptr<Buffer> buffer = writer.getBufferSharedPointer();
    const unsigned char* bytes = buffer->getBuffer();
    return std::vector<std::uint8_t>(bytes, bytes + buffer->getSize());
}

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
