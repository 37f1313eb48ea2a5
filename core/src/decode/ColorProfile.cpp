#include "decode/ColorProfile.hpp"

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

}  // namespace

const std::vector<std::uint8_t>& srgbProfile() {
    static const std::vector<std::uint8_t> profile = loadSrgbProfile();
    return profile;
}

}  // namespace tessel::detail
