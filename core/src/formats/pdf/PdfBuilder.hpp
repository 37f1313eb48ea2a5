#pragma once
// Building a PDF of full-page images with qpdf.
//
// qpdf 11's headers do not compile as C++20 under clang 14, so the files that include them
// are built as C++17 with clang, and this header uses nothing newer.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessel::detail {

/// One image of a page as it is stored in the PDF: already compressed samples, 8 bits each.
struct PdfImageData {
    enum class Filter {
        flatePng,  ///< a zlib stream of PNG-filtered rows (PNG's IDAT data)
        dct,       ///< a whole JPEG file
    };
    Filter filter = Filter::flatePng;
    std::int64_t width = 0;
    std::int64_t height = 0;
    int colors = 3;  ///< 1 (gray) or 3 (RGB)
    /// The compressed samples: `owned`, or else the `borrowed` pieces joined. Borrowed bytes
    /// must stay alive until the document is finished; they are never copied before then.
    std::string owned;
    struct Piece {
        const std::uint8_t* bytes = nullptr;
        std::size_t size = 0;
    };
    std::vector<Piece> borrowed;
    /// Or else pieces of an open file, read only while the document is written, so the
    /// samples of a document of thousands of pages never wait in memory.
    struct FileRange {
        int descriptor = -1;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };
    std::vector<FileRange> fromFile;
};

/// What a document says about itself in its information dictionary, and the colour space of
/// its RGB images.
struct PdfDocumentInfo {
    std::string title;    ///< none when empty
    std::string creator;  ///< none when empty
    /// The creation date in seconds since 1970 (shown in the local time zone); none when absent.
    std::optional<std::int64_t> created;
    /// An RGB ICC profile: RGB images are ICCBased on it, DeviceRGB when it is empty.
    std::vector<std::uint8_t> rgbProfile;
};

/// Takes the document's bytes as they are written.
using PdfSink = std::function<void(const unsigned char* bytes, std::size_t size)>;

/// Builds a PDF page by page. Every method throws `std::exception` when qpdf fails.
class PdfBuilder {
public:
    explicit PdfBuilder(const PdfDocumentInfo& info = {});
    ~PdfBuilder();
    PdfBuilder(const PdfBuilder&) = delete;
    PdfBuilder& operator=(const PdfBuilder&) = delete;

    /// Adds a page with the media box [0 0 width height] (numbers as PDF text) showing
    /// `color` stretched over the whole page, with `alpha` as its soft mask when given.
    void addPage(const std::string& width, const std::string& height, PdfImageData color,
                 std::optional<PdfImageData> alpha);

    /// The document: PDF 1.4, the document information given at the start (no dictionary when
    /// it is all empty), an ID derived from the content, and the image data exactly as given. The
    /// bytes are written straight into the result; the document is never held twice.
    std::vector<std::uint8_t> finish();

    /// The same document, handed to `sink` piece by piece as it is written.
    void finish(const PdfSink& sink);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tessel::detail
