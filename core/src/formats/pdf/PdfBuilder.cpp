#include "formats/pdf/PdfBuilder.hpp"

#include <algorithm>
#include <cerrno>
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

QPDFObjectHandle makeImageStream(
    QPDF& pdf, ImageSamples& samples,
    const std::shared_ptr<QPDFObjectHandle::StreamDataProvider>& provider, PdfImageData image) {
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
    dict.replaceKey("/ColorSpace",
                    QPDFObjectHandle::newName(image.colors == 1 ? "/DeviceGray" : "/DeviceRGB"));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    samples.add(stream.getObjGen(), std::move(image));
    return stream;
}

}  // namespace

struct PdfBuilder::State {
    QPDF pdf;
    std::shared_ptr<ImageSamples> samples = std::make_shared<ImageSamples>();
};

PdfBuilder::PdfBuilder() : state_(std::make_unique<State>()) { state_->pdf.emptyPDF(); }

PdfBuilder::~PdfBuilder() = default;

void PdfBuilder::addPage(const std::string& width, const std::string& height, PdfImageData color,
                         std::optional<PdfImageData> alpha) {
    QPDF& pdf = state_->pdf;
    ImageSamples& samples = *state_->samples;
    const std::shared_ptr<QPDFObjectHandle::StreamDataProvider> provider = state_->samples;
    QPDFObjectHandle picture = makeImageStream(pdf, samples, provider, std::move(color));
    if (alpha)
        picture.getDict().replaceKey("/SMask",
                                     makeImageStream(pdf, samples, provider, std::move(*alpha)));

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
