#pragma once
// The colour profiles pages are tagged with and pictures are converted from.

#include <cstdint>
#include <vector>

namespace tessel::detail {

/// The sRGB ICC profile that libvips carries and converts every decoded picture to (a
/// version 2 display profile made by Little CMS, about 7 KB), loaded once per process; empty
/// when libvips cannot give it. Safe to call from any thread.
const std::vector<std::uint8_t>& srgbProfile();

/// An ICC profile of Adobe RGB (1998) (its primaries, D65 white and a gamma of 563/256), made
/// by Little CMS once per process: cameras mark pictures in that space without embedding one.
/// Empty when it cannot be made. Safe to call from any thread.
const std::vector<std::uint8_t>& adobeRgbProfile();

}  // namespace tessel::detail
