#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <system_error>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "base/PageSpool.hpp"
#include "base/SystemCause.hpp"
#include "decode/ColorProfile.hpp"
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

// The cause names the file in the way, which the user may not see in the folder they chose
// (a numbered page, a hidden extension).
TesselError destinationExists(const std::filesystem::path& file) {
    // Appended piece by piece: GCC 12 warns wrongly about "literal" + string at -O3.
    std::string cause = "\"";
    cause += file.filename().string();
    cause += "\" is already in ";
    cause += file.parent_path().string();
    cause += '.';
    return TesselError::destinationExists().withCause(cause);
}

}  // namespace

std::string outputBaseName(const std::string& baseName) {
    return isAllBlank(baseName) ? "Contact Sheet" : baseName;
}

// Creates `to` with what `fill` writes into it, on the terms of `writeAtomically`.
void writeNewFile(const std::filesystem::path& to, const FileNamingCalls& calls,
                  const std::function<void(AtomicFile&)>& fill) {
    std::error_code ignored;
    if (std::filesystem::exists(to, ignored)) throw destinationExists(to);
    try {
        AtomicFile file(to, AtomicFile::Publishing::newFile, calls);
        fill(file);
        file.publish();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists) throw destinationExists(to);
        throw TesselError::cannotEncode().withCause(systemCause(error.code()));
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
    std::function<void(const PdfDocumentInfo&, AtomicFile&)> writePDF;
    std::function<void(std::size_t page, AtomicFile&)> writePage;
    std::chrono::system_clock::time_point madeAt;
};

// The files a sheet of `count` pages is written as under `name`.
std::vector<std::filesystem::path> sheetFiles(const std::filesystem::path& to,
                                              const std::string& name, std::size_t count,
                                              const SheetRecipe& recipe) {
    const std::string extension{fileExtension(recipe.output)};
    if (recipe.output == SheetOutputFormat::pdf) return {to / (name + "." + extension)};
    std::vector<std::filesystem::path> files;
    for (std::size_t i = 0; i < count; ++i) {
        std::string fileName = name;
        if (count > 1) fileName.append("-").append(std::to_string(i + 1));
        files.push_back(to / fileName.append(".").append(extension));
    }
    return files;
}

// Writes and verifies the files one by one; each file named is added to `written` at once,
// so that a caller knows what is there when a later file fails.
void writeSheet(const SheetPages& sheet, const std::vector<std::filesystem::path>& files,
                const SheetRecipe& recipe, const FileNamingCalls& calls,
                std::vector<std::filesystem::path>& written) {
    if (recipe.output == SheetOutputFormat::pdf) {
        // Titled by the sheet, else by the name it is saved under.
        std::string title = recipe.trimmedTitle();
        if (title.empty()) title = files.front().stem().string();
        const PdfDocumentInfo info = sheetDocumentInfo(title, sheet.madeAt, srgbProfile());
        writeNewFile(files.front(), calls, [&](AtomicFile& file) { sheet.writePDF(info, file); });
        written.push_back(files.front());
        verify(files.front(), static_cast<std::int64_t>(sheet.count), sheet.pdfPageSize);
        return;
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        writeNewFile(files[i], calls, [&](AtomicFile& out) { sheet.writePage(i, out); });
        written.push_back(files[i]);
        verify(files[i], 1, sheet.pageSize);
    }
}

std::vector<std::filesystem::path> writeSheet(const SheetPages& sheet,
                                              const std::filesystem::path& to,
                                              const std::string& baseName,
                                              const SheetRecipe& recipe) {
    std::vector<std::filesystem::path> written;
    writeSheet(sheet, sheetFiles(to, outputBaseName(baseName), sheet.count, recipe), recipe,
               systemNamingCalls(), written);
    return written;
}

// Enough for any folder a person keeps; past it the name counts as taken.
constexpr int kLastNumber = 9999;

std::vector<std::filesystem::path> writeSheetUnderFreeName(const SheetPages& sheet,
                                                           const std::filesystem::path& to,
                                                           const std::string& baseName,
                                                           const SheetRecipe& recipe,
                                                           const FileNamingCalls& calls) {
    const std::string name = outputBaseName(baseName);
    for (int number = 1; number <= kLastNumber; ++number) {
        const auto files = sheetFiles(to, number == 1 ? name : name + " " + std::to_string(number),
                                      sheet.count, recipe);
        std::error_code ignored;
        if (std::any_of(files.begin(), files.end(), [&](const std::filesystem::path& file) {
                return std::filesystem::exists(std::filesystem::symlink_status(file, ignored));
            }))
            continue;
        std::vector<std::filesystem::path> written;
        try {
            writeSheet(sheet, files, recipe, calls, written);
            return written;
        } catch (const TesselError& error) {
            if (error.kind() != TesselError::Kind::destinationExists) throw;
            // Another writer took one of the names after the check: what this run wrote
            // under the name is its own, and the sheet moves on whole to the next name.
            for (const std::filesystem::path& file : written)
                std::filesystem::remove(file, ignored);
        }
    }
    throw TesselError::destinationExists();
}

SheetPages pagesOf(const SheetRenderResult& result) {
    return {result.pages.size(),
            result.pageSize,
            result.pdfPageSize,
            [&](const PdfDocumentInfo& info, AtomicFile& file) {
                // Put together again: the document carries the name of its file.
                file.write(makePDF(result.pages, result.pdfPageSize, info));
            },
            [&](std::size_t page, AtomicFile& file) { file.write(result.pages[page]); },
            result.madeAt};
}

SheetPages pagesOf(const SpooledSheet& sheet) {
    PageSpool& spool = sheet.spool();
    return {spool.pageCount(),
            sheet.pageSize(),
            sheet.pdfPageSize(),
            [&](const PdfDocumentInfo& info, AtomicFile& file) {
                // The document goes straight into its file as qpdf writes it.
                makePDF(spool, sheet.pdfPageSize(), info,
                        [&file](const unsigned char* bytes, std::size_t length) {
                            file.write({bytes, length});
                        });
            },
            [&](std::size_t page, AtomicFile& file) { file.write(spool.read(page)); },
            sheet.madeAt()};
}

}  // namespace

std::vector<std::filesystem::path> writeUnderFreeName(const SheetRenderResult& result,
                                                      const std::filesystem::path& to,
                                                      const std::string& baseName,
                                                      const SheetRecipe& recipe,
                                                      const FileNamingCalls& calls) {
    return writeSheetUnderFreeName(pagesOf(result), to, baseName, recipe, calls);
}

}  // namespace detail

std::vector<std::filesystem::path> TesselRenderer::write(const SheetRenderResult& result,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    return detail::writeSheet(detail::pagesOf(result), to, baseName, recipe);
}

std::vector<std::filesystem::path> TesselRenderer::write(const SpooledSheet& sheet,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    return detail::writeSheet(detail::pagesOf(sheet), to, baseName, recipe);
}

std::vector<std::filesystem::path> TesselRenderer::writeUnderFreeName(
    const SpooledSheet& sheet, const std::filesystem::path& to, const std::string& baseName,
    const SheetRecipe& recipe) {
    return detail::writeSheetUnderFreeName(detail::pagesOf(sheet), to, baseName, recipe,
                                           detail::systemNamingCalls());
}

}  // namespace tessel
