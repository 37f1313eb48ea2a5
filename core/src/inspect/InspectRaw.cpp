#include "inspect/InspectRaw.hpp"

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include "tessel/TesselError.hpp"

#include "base/Files.hpp"
#include "base/SystemCause.hpp"
#include "decode/DecodeBudget.hpp"
#include "decode/DecodeCause.hpp"
#include "formats/exif/ExifReader.hpp"
#include "formats/raw/Raw.hpp"

namespace tessel::detail {

SheetImageInfo inspectRaw(const std::filesystem::path& file) {
    const std::string name = file.filename().string();
    const auto refuse = [&name](std::string cause) {
        throw TesselError::cannotRead(name).withCause(std::move(cause));
    };
    if (!openRegularFile(file)) refuse(openingCause(errno));
    const auto budget = static_cast<std::uint64_t>(TesselRenderer::decodingBudget());
    auto opened = RawFile::open(file, budget);
    if (const auto* failure = std::get_if<RawFailure>(&opened)) refuse(rawCause(*failure, file));
    RawFile& raw = std::get<RawFile>(opened);
    const RawFacts facts = raw.facts();
    // A file that could never be drawn within the budget is refused now, not at drawing: one
    // whose sensor data is too large to develop, even at half size, and that holds no preview.
    if (facts.preview == RawPreview::none && rawDevelopingBytes(facts, true) > budget)
        refuse(
            budgetCause(static_cast<double>(facts.rawWidth), static_cast<double>(facts.rawHeight)));
    const auto [width, height] = raw.displayedSize();
    if (width < 1 || height < 1) refuse(kNoSizeCause);

    // The camera's words, as for any image; LibRaw's reading of them only where exiv2 does not
    // know the format (its capture time may be a time the file was changed).
    const ExifFacts metadata = readImageFile(file);
    SheetImageInfo info = imageInfo(file, width, height, metadata);
    if (!metadata.read) {
        if (facts.timestamp)
            info.dateTaken = std::chrono::system_clock::from_time_t(*facts.timestamp);
        if (!facts.model.empty()) info.cameraModel = facts.model;
    }
    return info;
}

}  // namespace tessel::detail
