#include "decode/RawDecode.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include <unistd.h>

#include "tessel/Inspection.hpp"

#include "base/Files.hpp"
#include "decode/ColorProfile.hpp"
#include "decode/DecodeBudget.hpp"
#include "decode/DecodeCause.hpp"
#include "decode/Upright.hpp"
#include "formats/exif/ExifReader.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/raw/Raw.hpp"

namespace tessel::detail {
namespace {

std::int64_t longerSide(std::int64_t width, std::int64_t height) { return std::max(width, height); }

bool startsAsTiff(const std::filesystem::path& file) {
    const FileDescriptor descriptor = openRegularFile(file);
    std::array<char, 4> head{};
    if (!descriptor || ::pread(descriptor.get(), head.data(), head.size(), 0) != 4) return false;
    const std::string_view magic(head.data(), head.size());
    return magic == std::string_view("II*\0", 4) || magic == std::string_view("MM\0*", 4);
}

// How a preview's pixels are described: the profile the camera embedded in it, else Adobe RGB
// where the camera marked its pictures so (in the RAW file or in the preview's own EXIF),
// else sRGB.
std::span<const std::uint8_t> previewProfile(const RawFacts& facts,
                                             std::span<const std::uint8_t> embedded,
                                             std::span<const std::uint8_t> previewExif) {
    if (!embedded.empty()) return embedded;
    if (facts.adobeRGB || readExifBlock(previewExif).adobeRGB) return adobeRgbProfile();
    return {};
}

// The camera's preview, upright and reduced; empty when it cannot be decoded (`cause` says
// why) or, with `mustReach`, when it turns out smaller than that on its longer side (no cause).
VipsImageRef previewPicture(const std::filesystem::path& file, RawFile& raw,
                            const DecodeRequest& request, int size, int minimum,
                            std::optional<std::int64_t> mustReach, std::string& cause) {
    auto read = raw.preview();
    if (const auto* failure = std::get_if<RawFailure>(&read)) {
        cause = rawCause(*failure, file);
        return {};
    }
    RawPreviewData& preview = std::get<RawPreviewData>(read);
    const RawFacts& facts = raw.facts();
    if (preview.jpeg.empty()) {
        RawPixels& pixels = preview.pixels;
        if (mustReach && longerSide(pixels.width, pixels.height) < *mustReach) return {};
        const auto profile = previewProfile(facts, {}, {});
        return reducedUpright(
            pictureOfSamples(std::move(pixels.samples), pixels.width, pixels.height, pixels.bands,
                             facts.orientation, profile),
            size, request.filter);
    }
    const std::optional<JpegDecodingCost> cost = jpegDecodingCost(preview.jpeg);
    if (!cost) {
        cause = kDamagedCause;
        return {};
    }
    if (mustReach && longerSide(cost->width, cost->height) < *mustReach) return {};
    if (!withinDecodingBudget(cost->bytes + preview.jpeg.size(), static_cast<double>(cost->width),
                              static_cast<double>(cost->height), std::max(size, minimum))) {
        cause = budgetCause(static_cast<double>(cost->width), static_cast<double>(cost->height));
        return {};
    }
    bool cut = false;
    std::optional<ScaledJpeg> decoded = decodeScaledJPEG(preview.jpeg, minimum, cut, request.stop);
    if (!decoded) {
        cause = cut ? kCutOffCause : kDamagedCause;
        return {};
    }
    const std::vector<std::uint8_t> icc = std::move(decoded->icc);
    const std::vector<std::uint8_t> exif = std::move(decoded->exif);
    const auto profile = previewProfile(facts, icc, exif);
    return reducedUpright(pictureOfSamples(std::move(*decoded), facts.orientation, profile), size,
                          request.filter);
}

}  // namespace

bool readsAsRaw(const std::filesystem::path& file) {
    if (hasRawExtension(file)) return true;
    // A DNG is a TIFF too: named like one (or like nothing Tessel reads), it is still developed
    // from its sensor data rather than shown by the small picture the TIFF reader finds first.
    std::string extension = file.extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool namedLikeAnotherFormat =
        extension != "tif" && extension != "tiff" &&
        std::ranges::find(TesselRenderer::supportedExtensions, extension) !=
            std::end(TesselRenderer::supportedExtensions);
    return !namedLikeAnotherFormat && startsAsTiff(file) && readImageFile(file).dng;
}

VipsImageRef rawPicture(const std::filesystem::path& file, const DecodeRequest& request, int size,
                        int minimum, std::string& cause) {
    const auto budget = static_cast<std::uint64_t>(TesselRenderer::decodingBudget());
    auto opened = RawFile::open(file, budget, request.stop);
    if (const auto* failure = std::get_if<RawFailure>(&opened)) {
        cause = rawCause(*failure, file);
        return {};
    }
    RawFile& raw = std::get<RawFile>(opened);
    const RawFacts facts = raw.facts();
    const std::optional<std::int64_t>& drawn = request.drawnPixelSize;
    const bool halfSize = drawn && longerSide(facts.width, facts.height) / 2 >= *drawn;
    const bool canDevelop = drawn && rawDevelopingBytes(facts, halfSize) <= budget;

    if (facts.preview != RawPreview::none) {
        // A preview whose size the file does not give is measured once it is read.
        const std::int64_t previewLonger = longerSide(facts.previewWidth, facts.previewHeight);
        if (!canDevelop || previewLonger == 0 || previewLonger >= *drawn) {
            VipsImageRef picture =
                previewPicture(file, raw, request, size, minimum,
                               canDevelop ? drawn : std::optional<std::int64_t>(), cause);
            // A preview too small or damaged still leaves the sensor data.
            if (picture || !canDevelop) return picture;
            cause.clear();
        }
    }
    if (!drawn) {
        cause = kNoPreviewCause;
        return {};
    }
    if (!canDevelop) {
        cause =
            budgetCause(static_cast<double>(facts.rawWidth), static_cast<double>(facts.rawHeight));
        return {};
    }
    auto developed = raw.develop(halfSize);
    if (const auto* failure = std::get_if<RawFailure>(&developed)) {
        cause = rawCause(*failure, file);
        return {};
    }
    RawPixels& pixels = std::get<RawPixels>(developed);
    // LibRaw has turned it upright and made it sRGB already.
    return reducedUpright(pictureOfSamples(std::move(pixels.samples), pixels.width, pixels.height,
                                           pixels.bands, 1, {}),
                          size, request.filter);
}

}  // namespace tessel::detail
