#include "decode/ColorProfile.hpp"

#include <lcms2.h>

#include "decode/Decode.hpp"
#include "decode/Vips.hpp"

namespace tessel::detail {
namespace {

void releaseBlob(VipsBlob* blob) noexcept { vips_area_unref(VIPS_AREA(blob)); }

using VipsBlobRef = Handle<VipsBlob*, releaseBlob>;

std::vector<std::uint8_t> loadSrgbProfile() {
    ensureVipsStarted();
    // The same profile decoding converts pictures into, so the tag says what the pixels are.
    // Its bytes are fixed (dated 2004), so pages and documents come out the same on every run.
    VipsBlobRef blob;
    if (vips_profile_load("srgb", blob.out(), nullptr) != 0) {
        vips_error_clear();
        return {};
    }
    std::size_t size = 0;
    const auto* bytes = static_cast<const std::uint8_t*>(vips_blob_get(blob.get(), &size));
    if (!bytes) return {};
    return {bytes, bytes + size};
}

using ProfileRef = Handle<cmsHPROFILE, cmsCloseProfile>;
using ToneCurveRef = Handle<cmsToneCurve*, cmsFreeToneCurve>;

std::vector<std::uint8_t> makeAdobeRgbProfile() {
    const cmsCIExyY white{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
    const ToneCurveRef gamma(cmsBuildGamma(nullptr, 563.0 / 256.0));
    if (!gamma) return {};
    cmsToneCurve* curves[3] = {gamma.get(), gamma.get(), gamma.get()};
    const ProfileRef profile(cmsCreateRGBProfile(&white, &primaries, curves));
    cmsUInt32Number size = 0;
    if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &size) || size == 0) return {};
    std::vector<std::uint8_t> bytes(size);
    if (!cmsSaveProfileToMem(profile.get(), bytes.data(), &size)) return {};
    return bytes;
}

}  // namespace

const std::vector<std::uint8_t>& adobeRgbProfile() {
    static const std::vector<std::uint8_t> profile = makeAdobeRgbProfile();
    return profile;
}

const std::vector<std::uint8_t>& srgbProfile() {
    static const std::vector<std::uint8_t> profile = loadSrgbProfile();
    return profile;
}

}  // namespace tessel::detail
