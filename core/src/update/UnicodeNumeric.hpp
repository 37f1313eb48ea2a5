#pragma once
#include <string_view>

namespace tessel::detail {

/// Whether `utf8` is valid UTF-8 and every code point in it is numeric in the Unicode sense
/// (general category Nd, Nl or No: digits of any script, Roman numerals, vulgar fractions).
/// Empty text counts as all numeric.
bool isAllUnicodeNumeric(std::string_view utf8) noexcept;

}  // namespace tessel::detail
