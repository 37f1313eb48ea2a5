#pragma once
// The colour profile that pages are tagged with.

#include <cstdint>
#include <vector>

namespace tessel::detail {

/// The sRGB ICC profile that libvips carries and converts every decoded picture to (a
/// version 2 display profile made by Little CMS, about 7 KB), loaded once per process; empty
/// when libvips cannot give it. Safe to call from any thread.
const std::vector<std::uint8_t>& srgbProfile();

}  // namespace tessel::detail
