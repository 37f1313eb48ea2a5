#pragma once
// Dates as captions show them.

#include <chrono>
#include <string>

namespace tessel::detail {

/// The date of `time` in the medium date style of the current locale and time zone, without
/// the time of day ("Jan 5, 2024" in United States English). Safe to call from any thread.
std::string formatCaptionDate(std::chrono::system_clock::time_point time);

}  // namespace tessel::detail
