#pragma once
// Writing one output file without ever replacing an existing one, and reading it back.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tessel/Render.hpp"
#include "tessel/SheetTypes.hpp"

#include "base/AtomicFile.hpp"

namespace tessel::detail {

/// `baseName` unchanged, outer blanks included, unless it is empty or only white space and
/// line breaks; then "Contact Sheet".
std::string outputBaseName(const std::string& baseName);

/// Creates `to` holding exactly `bytes`, or fails leaving nothing new behind: `to` appears
/// complete, flushed to disk, in one step and an existing file is never replaced (see
/// `AtomicFile` for the means, which `calls` lets tests take away). Throws
/// `destinationExists` when something is at `to` already (or appears there meanwhile),
/// `cannotEncode` for every other failure.
void writeAtomically(const std::vector<std::uint8_t>& bytes, const std::filesystem::path& to,
                     const FileNamingCalls& calls = systemNamingCalls());

/// `TesselRenderer::writeUnderFreeName` for pages in memory, naming each file with `calls`.
std::vector<std::filesystem::path> writeUnderFreeName(const SheetRenderResult& result,
                                                      const std::filesystem::path& to,
                                                      const std::string& baseName,
                                                      const SheetRecipe& recipe,
                                                      const FileNamingCalls& calls);

/// Reads `file` back. A ".pdf" file (any case) must hold `expectedPages` pages and a first
/// page within 0.5 points of `size`; any other file must be an image source of
/// `expectedPages` images whose first is `size` pixels, fractions dropped. Throws
/// `verificationFailed` with "PDF page count does not match", "PDF page size does not match"
/// or "dimensions or page count do not match".
void verify(const std::filesystem::path& file, std::int64_t expectedPages, SheetSize size);

}  // namespace tessel::detail
