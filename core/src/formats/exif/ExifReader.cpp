#include "formats/exif/ExifReader.hpp"

#include <cstring>
#include <limits>
#include <mutex>

#include <exiv2/exiv2.hpp>

namespace tessel::detail {

namespace {

void muteExiv2() {
    // exiv2 prints warnings about odd makernotes and offsets to stderr; the core never logs.
    static std::once_flag once;
    std::call_once(once, [] { Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute); });
}

std::optional<std::string> asciiTag(const Exiv2::ExifData& data, const char* key) {
    const auto it = data.findKey(Exiv2::ExifKey(key));
    if (it == data.end() || it->typeId() != Exiv2::asciiString) return std::nullopt;
    // exiv2 writes an ASCII value up to its first NUL and keeps every blank before it.
    return it->toString();
}

ExifFacts factsOf(const Exiv2::ExifData& data) {
    ExifFacts facts;
    const auto orientation = data.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (orientation != data.end() && orientation->count() > 0) {
        facts.orientation = orientation->toLong();
    }
    facts.dateTimeOriginal = asciiTag(data, "Exif.Photo.DateTimeOriginal");
    if (!facts.dateTimeOriginal)
        facts.dateTimeOriginal = asciiTag(data, "Exif.Image.DateTimeOriginal");
    facts.model = asciiTag(data, "Exif.Image.Model");
    facts.make = asciiTag(data, "Exif.Image.Make");
    const auto space = data.findKey(Exiv2::ExifKey("Exif.Photo.ColorSpace"));
    const std::optional<std::string> index = asciiTag(data, "Exif.Iop.InteroperabilityIndex");
    facts.adobeRGB = space != data.end() && space->count() > 0 && space->toLong() == 0xFFFF &&
                     index && index->starts_with("R03");
    facts.read = true;
    return facts;
}

}  // namespace

ExifFacts readExifBlock(std::span<const std::uint8_t> block) {
    muteExiv2();
    static constexpr char header[] = {'E', 'x', 'i', 'f', '\0', '\0'};
    if (block.size() >= sizeof header && std::memcmp(block.data(), header, sizeof header) == 0) {
        block = block.subspan(sizeof header);
    }
    if (block.empty() || block.size() > std::numeric_limits<std::uint32_t>::max()) return {};
    try {
        Exiv2::ExifData data;
        Exiv2::ExifParser::decode(data, block.data(), static_cast<std::uint32_t>(block.size()));
        return factsOf(data);
    } catch (const std::exception&) {
        return {};
    }
}

ExifFacts readImageFile(const std::filesystem::path& file) {
    muteExiv2();
    try {
        auto image = Exiv2::ImageFactory::open(file.string());
        if (image.get() == nullptr) return {};
        image->readMetadata();
        const Exiv2::ExifData& data = image->exifData();
        ExifFacts facts = factsOf(data);
        const auto rows = data.findKey(Exiv2::ExifKey("Exif.Image.RowsPerStrip"));
        if (rows != data.end() && rows->count() > 0) facts.rowsPerStrip = rows->toLong();
        facts.tiled = data.findKey(Exiv2::ExifKey("Exif.Image.TileWidth")) != data.end();
        facts.dng = data.findKey(Exiv2::ExifKey("Exif.Image.DNGVersion")) != data.end();
        return facts;
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace tessel::detail
