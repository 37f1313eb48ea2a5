#include <cstddef>
#include <functional>
#include <system_error>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "base/PageSpool.hpp"
#include "formats/Encode.hpp"
#include "output/Output.hpp"

namespace tessel {
namespace detail {
namespace {

bool isBlank(char32_t c) {
    switch (c) {
        case 0x09:
        case 0x0A:
        case 0x0B:
        case 0x0C:
        case 0x0D:
        case 0x20:
        case 0x85:
        case 0xA0:
        case 0x1680:
        case 0x2028:
        case 0x2029:
        case 0x202F:
        case 0x205F:
        case 0x3000: return true;
        default: return c >= 0x2000 && c <= 0x200A;
    }
}

// True when every character is white space or a line break. Bytes that are not valid
// UTF-8 count as visible characters.
bool isAllBlank(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto lead = static_cast<unsigned char>(text[at]);
        std::size_t length = lead < 0x80    ? 1
                             : lead >= 0xF0 ? 4
                             : lead >= 0xE0 ? 3
                             : lead >= 0xC0 ? 2
                                            : 0;
        if (length == 0 || at + length > text.size()) return false;
        char32_t c = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0u) != 0x80u) return false;
            c = (c << 6) | (next & 0x3Fu);
        }
        if (!isBlank(c)) return false;
        at += length;
    }
    return true;
}

}  // namespace

std::string outputBaseName(const std::string& baseName) {
    return isAllBlank(baseName) ? "Contact Sheet" : baseName;
}

// Creates `to` with what `fill` writes into it, on the terms of `writeAtomically`.
void writeNewFile(const std::filesystem::path& to, const FileNamingCalls& calls,
                  const std::function<void(AtomicFile&)>& fill) {
    std::error_code ignored;
    if (std::filesystem::exists(to, ignored)) throw TesselError::destinationExists();
    try {
        AtomicFile file(to, AtomicFile::Publishing::newFile, calls);
        fill(file);
        file.publish();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists) throw TesselError::destinationExists();
        throw TesselError::cannotEncode();
    }
}

void writeAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to,
                     const FileNamingCalls& calls) {
    writeNewFile(to, calls, [&](AtomicFile& file) { file.write(bytes); });
}

namespace {

// A finished sheet as the writer needs it, wherever its pages are kept.
struct SheetPages {
    std::size_t count = 0;
    SheetSize pageSize;
    SheetSize pdfPageSize;
    std::function<void(AtomicFile&)> writePDF;
    std::function<void(std::size_t page, AtomicFile&)> writePage;
};

std::vector<std::filesystem::path> writeSheet(const SheetPages& sheet,
                                              const std::filesystem::path& to,
                                              const std::string& baseName,
                                              const SheetRecipe& recipe) {
    const std::string name = outputBaseName(baseName);
    const std::string extension{fileExtension(recipe.output)};
    const FileNamingCalls& calls = systemNamingCalls();

    if (recipe.output == SheetOutputFormat::pdf) {
        const auto file = to / (name + "." + extension);
        writeNewFile(file, calls, sheet.writePDF);
        verify(file, static_cast<std::int64_t>(sheet.count), sheet.pdfPageSize);
        return {file};
    }

    std::vector<std::filesystem::path> files;
    for (std::size_t i = 0; i < sheet.count; ++i) {
        std::string fileName = name;
        if (sheet.count > 1) fileName.append("-").append(std::to_string(i + 1));
        fileName.append(".").append(extension);
        const auto file = to / fileName;
        writeNewFile(file, calls, [&](AtomicFile& out) { sheet.writePage(i, out); });
        verify(file, 1, sheet.pageSize);
        files.push_back(file);
    }
    return files;
}

}  // namespace
}  // namespace detail

std::vector<std::filesystem::path> TesselRenderer::write(const SheetRenderResult& result,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    return detail::writeSheet(
        {result.pages.size(), result.pageSize, result.pdfPageSize,
         [&](detail::AtomicFile& file) { file.write(result.pdf); },
         [&](std::size_t page, detail::AtomicFile& file) { file.write(result.pages[page]); }},
        to, baseName, recipe);
}

std::vector<std::filesystem::path> TesselRenderer::write(const SpooledSheet& sheet,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    detail::PageSpool& spool = sheet.spool();
    return detail::writeSheet(
        {spool.pageCount(), sheet.pageSize(), sheet.pdfPageSize(),
         [&](detail::AtomicFile& file) {
             // The document goes straight into its file as qpdf writes it.
             detail::makePDF(spool, sheet.pdfPageSize(),
                             [&file](const unsigned char* bytes, std::size_t length) {
                                 file.write({bytes, length});
                             });
         },
         [&](std::size_t page, detail::AtomicFile& file) { file.write(spool.read(page)); }},
        to, baseName, recipe);
}

}  // namespace tessel
