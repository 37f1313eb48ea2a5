#pragma once
// Unpacking the update archive in process with libarchive. Only this file and Unpack.cpp
// include libarchive.

#include <cstdint>
#include <filesystem>

namespace tessel::SelfUpdater::detail {

/// What an update archive may hold at most; a larger one is refused rather than filling the
/// disk (a release bundle is a few tens of megabytes).
inline constexpr std::uint64_t maxUnpackedBytes = 2ull << 30;
inline constexpr std::size_t maxUnpackedEntries = 100'000;

/// Unpacks the ZIP archive `archive` into the existing folder `folder`. Throws `UpdateFailure`
/// with `unpack` when the archive cannot be read, exceeds the limits above, or holds an entry
/// that would land outside `folder`: an absolute name, a ".." component, a link whose target is
/// absolute or has a ".." component, a hard link to such a name, or anything that is not a file,
/// folder or link. Nothing is ever written outside `folder`; what was unpacked before a refused
/// entry stays inside it.
void unpackZip(const std::filesystem::path& archive, const std::filesystem::path& folder);

}  // namespace tessel::SelfUpdater::detail
