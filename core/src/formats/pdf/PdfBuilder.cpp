#include "formats/pdf/PdfBuilder.hpp"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <map>
#include <stdexcept>
#include <utility>

#include <qpdf/Pipeline.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>
#include <qpdf/QUtil.hh>
#include <unistd.h>

namespace tessel::detail {
namespace {

// Hands each image's compressed samples to qpdf only while the document is being written, so
// qpdf never keeps its own copy of every page.
class ImageSamples final : public QPDFObjectHandle::StreamDataProvider {
public:
    void add(QPDFObjGen stream, PdfImageData image) {
        images_.insert_or_assign(stream, std::move(image));
    }

    void provideStreamData(QPDFObjGen const& stream, Pipeline* pipeline) override {
        const PdfImageData& image = images_.at(stream);
        if (!image.fromFile.empty()) {
            for (const auto& range : image.fromFile) copyRange(range, pipeline);
        } else if (image.borrowed.empty()) {
            pipeline->write(reinterpret_cast<const unsigned char*>(image.owned.data()),
                            image.owned.size());
        } else {
            for (const auto& piece : image.borrowed) pipeline->write(piece.bytes, piece.size);
        }
        pipeline->finish();
    }

    /// The bytes held in memory.
    std::size_t totalSize() const {
        std::size_t total = 0;
        for (const auto& [stream, image] : images_) {
            total += image.owned.size();
            for (const auto& piece : image.borrowed) total += piece.size;
        }
        return total;
    }

private:
    static void copyRange(const PdfImageData::FileRange& range, Pipeline* pipeline) {
        std::vector<unsigned char> buffer(std::size_t{1} << 18);
        std::uint64_t offset = range.offset;
        std::uint64_t left = range.size;
        while (left > 0) {
            const auto want =
                static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
            const ssize_t got =
                ::pread(range.descriptor, buffer.data(), want, static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) throw std::runtime_error("cannot read a page's samples back");
            pipeline->write(buffer.data(), static_cast<std::size_t>(got));
            offset += static_cast<std::uint64_t>(got);
            left -= static_cast<std::uint64_t>(got);
        }
    }

    std::map<QPDFObjGen, PdfImageData> images_;
};

// The end of the writer's pipeline: hands every piece to the sink.
class ToSink final : public Pipeline {
public:
    explicit ToSink(const PdfSink& sink) : Pipeline("pdf", nullptr), sink_(sink) {}
    void write(unsigned char const* data, std::size_t length) override { sink_(data, length); }
    void finish() override {}

private:
    const PdfSink& sink_;
};

// A PDF date in the local time zone, as viewers show it: D:20240105143000+01'00'.
std::string pdfDate(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    if (!::localtime_r(&time, &local)) return QUtil::qpdf_time_to_pdf_time(QUtil::QPDFTime());
    // qpdf counts the zone in minutes west of UTC.
    return QUtil::qpdf_time_to_pdf_time(
        QUtil::QPDFTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                        local.tm_min, local.tm_sec, static_cast<int>(-local.tm_gmtoff / 60)));
}

QPDFObjectHandle documentInformation(QPDF& pdf, const PdfDocumentInfo& info) {
    QPDFObjectHandle dictionary = QPDFObjectHandle::newDictionary();
    // Text strings in PDFDocEncoding where they fit, else UTF-16 as qpdf chooses.
    if (!info.title.empty())
        dictionary.replaceKey("/Title", QPDFObjectHandle::newUnicodeString(info.title));
    if (!info.creator.empty())
        dictionary.replaceKey("/Creator", QPDFObjectHandle::newUnicodeString(info.creator));
    if (info.created)
        dictionary.replaceKey("/CreationDate", QPDFObjectHandle::newString(pdfDate(*info.created)));
    return pdf.makeIndirectObject(dictionary);
}

QPDFObjectHandle makeImageStream(
    QPDF& pdf, ImageSamples& samples,
    const std::shared_ptr<QPDFObjectHandle::StreamDataProvider>& provider, PdfImageData image,
    QPDFObjectHandle rgbSpace) {
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf);
    QPDFObjectHandle parameters = QPDFObjectHandle::newNull();
    std::string filter = "/DCTDecode";
    if (image.filter == PdfImageData::Filter::flatePng) {
        filter = "/FlateDecode";
        parameters = QPDFObjectHandle::parse(
            "<< /Predictor 15 /Colors " + std::to_string(image.colors) +
            " /BitsPerComponent 8 /Columns " + std::to_string(image.width) + " >>");
    }
    stream.replaceStreamData(provider, QPDFObjectHandle::newName(filter), parameters);
    QPDFObjectHandle dict = stream.getDict();
    dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    dict.replaceKey("/Width", QPDFObjectHandle::newInteger(image.width));
    dict.replaceKey("/Height", QPDFObjectHandle::newInteger(image.height));
    if (image.colors == 3 && !rgbSpace.isNull())
        dict.replaceKey("/ColorSpace", rgbSpace);
    else
        dict.replaceKey("/ColorSpace", QPDFObjectHandle::newName(image.colors == 1 ? "/DeviceGray"
                                                                                   : "/DeviceRGB"));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    samples.add(stream.getObjGen(), std::move(image));
    return stream;
}

}  // namespace

struct PdfBuilder::State {
    QPDF pdf;
    std::shared_ptr<ImageSamples> samples = std::make_shared<ImageSamples>();
    // [/ICCBased profile], shared by every RGB image; null when untagged.
    QPDFObjectHandle rgbSpace = QPDFObjectHandle::newNull();
};

PdfBuilder::PdfBuilder(const PdfDocumentInfo& info) : state_(std::make_unique<State>()) {
    QPDF& pdf = state_->pdf;
    pdf.emptyPDF();
    if (!info.rgbProfile.empty()) {
        const std::string bytes(info.rgbProfile.begin(), info.rgbProfile.end());
        QPDFObjectHandle profile = QPDFObjectHandle::newStream(&pdf, bytes);
        profile.getDict().replaceKey("/N", QPDFObjectHandle::newInteger(3));
        profile.getDict().replaceKey("/Alternate", QPDFObjectHandle::newName("/DeviceRGB"));
        state_->rgbSpace = QPDFObjectHandle::newArray(
            std::vector<QPDFObjectHandle>{QPDFObjectHandle::newName("/ICCBased"), profile});
    }
    if (!info.title.empty() || !info.creator.empty() || info.created)
        pdf.getTrailer().replaceKey("/Info", documentInformation(pdf, info));
}

PdfBuilder::~PdfBuilder() = default;

void PdfBuilder::addPage(const std::string& width, const std::string& height, PdfImageData color,
                         std::optional<PdfImageData> alpha) {
    QPDF& pdf = state_->pdf;
    ImageSamples& samples = *state_->samples;
    const std::shared_ptr<QPDFObjectHandle::StreamDataProvider> provider = state_->samples;
    QPDFObjectHandle picture =
        makeImageStream(pdf, samples, provider, std::move(color), state_->rgbSpace);
    if (alpha)
        picture.getDict().replaceKey(
            "/SMask", makeImageStream(pdf, samples, provider, std::move(*alpha), state_->rgbSpace));

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
    std::vector<std::uint8_t> document;
    // The images plus a little for page objects and the cross-reference table.
    constexpr std::size_t kStructureBytes = 4096;
    document.reserve(state_->samples->totalSize() +
                     kStructureBytes * (1 + state_->pdf.getObjectCount()));
    finish([&document](const unsigned char* bytes, std::size_t size) {
        document.insert(document.end(), bytes, bytes + size);
    });
    return document;
}

void PdfBuilder::finish(const PdfSink& sink) {
    ToSink pipeline(sink);
    QPDFWriter writer(state_->pdf);
    writer.setOutputPipeline(&pipeline);
    // Image streams are already compressed; they are written exactly as given.
    writer.setDecodeLevel(qpdf_dl_none);
    writer.setDeterministicID(true);
    writer.setMinimumPDFVersion("1.4");  // soft masks
    writer.write();
}

}  // namespace tessel::detail
