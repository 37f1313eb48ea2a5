#include <cstddef>
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

void writeAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to,
                     const FileNamingCalls& calls) {
    std::error_code ignored;
    if (std::filesystem::exists(to, ignored)) throw TesselError::destinationExists();
    try {
        AtomicFile file(to, AtomicFile::Publishing::newFile, calls);
        file.write(bytes);
        file.publish();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists) throw TesselError::destinationExists();
        throw TesselError::cannotEncode();
    }
}

void writePDFFromSpool(PageSpool& spool, SheetSize size, const std::filesystem::path& to) {
    std::error_code ignored;
    if (std::filesystem::exists(to, ignored)) throw TesselError::destinationExists();
    try {
        AtomicFile file(to, AtomicFile::Publishing::newFile);
        makePDF(spool, size, [&file](const unsigned char* bytes, std::size_t length) {
            file.write({bytes, length});
        });
        file.publish();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists) throw TesselError::destinationExists();
        throw TesselError::cannotEncode();
    }
}

std::string pageFileName(const std::string& name, std::size_t page, std::size_t count,
                         const std::string& extension) {
    std::string fileName = name;
    if (count > 1) fileName.append("-").append(std::to_string(page + 1));
    return fileName.append(".").append(extension);
}

}  // namespace detail

std::vector<std::filesystem::path> TesselRenderer::write(const SpooledSheet& sheet,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    const std::string name = detail::outputBaseName(baseName);
    const std::string extension{fileExtension(recipe.output)};
    detail::PageSpool& spool = sheet.spool();

    if (recipe.output == SheetOutputFormat::pdf) {
        const auto file = to / (name + "." + extension);
        detail::writePDFFromSpool(spool, sheet.pdfPageSize(), file);
        detail::verify(file, sheet.pageCount(), sheet.pdfPageSize());
        return {file};
    }

    std::vector<std::filesystem::path> files;
    const std::size_t count = spool.pageCount();
    for (std::size_t i = 0; i < count; ++i) {
        const auto file = to / detail::pageFileName(name, i, count, extension);
        std::vector<std::uint8_t> bytes;
        try {
            bytes = spool.read(i);
        } catch (const std::system_error&) {
            throw TesselError::cannotEncode();
        }
        detail::writeAtomically(bytes, file);
        detail::verify(file, 1, sheet.pageSize());
        files.push_back(file);
    }
    return files;
}

std::vector<std::filesystem::path> TesselRenderer::write(const SheetRenderResult& result,
                                                         const std::filesystem::path& to,
                                                         const std::string& baseName,
                                                         const SheetRecipe& recipe) {
    const std::string name = detail::outputBaseName(baseName);
    const std::string extension{fileExtension(recipe.output)};

    if (recipe.output == SheetOutputFormat::pdf) {
        const auto file = to / (name + "." + extension);
        detail::writeAtomically(result.pdf, file);
        detail::verify(file, static_cast<std::int64_t>(result.pages.size()), result.pdfPageSize);
        return {file};
    }

    std::vector<std::filesystem::path> files;
    const std::size_t count = result.pages.size();
    for (std::size_t i = 0; i < count; ++i) {
        const auto file = to / detail::pageFileName(name, i, count, extension);
        detail::writeAtomically(result.pages[i], file);
        detail::verify(file, 1, result.pageSize);
        files.push_back(file);
    }
    return files;
}

}  // namespace tessel
