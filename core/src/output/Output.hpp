#pragma once
// Writing one output file without ever replacing an existing one, and reading it back.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tessel/SheetTypes.hpp"

namespace tessel::detail {

/// `baseName` unchanged, outer blanks included, unless it is empty or only white space and
/// line breaks; then "Contact Sheet".
std::string outputBaseName(const std::string& baseName);

/// Creates `to` holding exactly `bytes`, or fails leaving nothing new behind. The bytes go to
/// a hidden temporary file in the same folder, which is flushed to disk and hard-linked to
/// `to`, so `to` appears complete in one step and an existing file is never replaced; the
/// temporary file is removed on every path. Throws `destinationExists` when something is at
/// `to` already (or appears there meanwhile), `cannotEncode` for every other failure.
void writeAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to);

/// Replaces whatever is at `to` with exactly `bytes` in one step: the bytes go to a hidden
/// temporary file in the same folder, flushed to disk and renamed over `to`. False when any
/// step fails; `to` then keeps its old content and the temporary file is gone. Never throws.
bool replaceAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to);

/// Reads `file` back. A ".pdf" file (any case) must hold `expectedPages` pages and a first
/// page within 0.5 points of `size`; any other file must be an image source of
/// `expectedPages` images whose first is `size` pixels, fractions dropped. Throws
/// `verificationFailed` with "PDF page count does not match", "PDF page size does not match"
/// or "dimensions or page count do not match".
void verify(const std::filesystem::path& file, std::int64_t expectedPages, SheetSize size);

}  // namespace tessel::detail
