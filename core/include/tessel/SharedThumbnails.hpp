#pragma once
/// The desktop's shared thumbnail cache (the freedesktop Thumbnail Managing Standard):
/// `$XDG_CACHE_HOME/thumbnails`, which file managers and photo programs fill and read. A photo
/// that a file manager has shown has a thumbnail there already; the thumbnails Tessel makes go
/// there in turn, for them.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessel {

/// What the shared cache holds of one file, as the file was when it was looked up.
struct SharedThumbnail {
    /// The file's URI, modification time (whole seconds since 1970) and size in bytes when it
    /// was looked up. The URI is empty when the file could not be looked at, or lies inside
    /// the cache itself; nothing is stored for it then.
    std::string uri;
    std::int64_t modified = 0;
    std::int64_t bytes = 0;
    /// A list thumbnail from a valid entry: JPEG, its longer side at most the size asked for.
    std::optional<std::vector<std::uint8_t>> thumbnail;
    /// Making a thumbnail of the file, as it is now, failed before: trying again would fail
    /// again.
    bool failedBefore = false;
};

/// One user's shared thumbnail cache. Reading and writing are safe from any thread, and from
/// several processes at once: an entry appears whole or not at all.
class SharedThumbnails {
public:
    /// The cache in `folder`.
    explicit SharedThumbnails(std::filesystem::path folder = userFolder());

    /// `$XDG_CACHE_HOME/thumbnails`, or `~/.cache/thumbnails` when that is not set.
    static std::filesystem::path userFolder();

    /// Looks `file` up without decoding it: its `large` entry (up to 256 pixels), else its
    /// `x-large` one (up to 512), each taken only when its Thumb::URI and Thumb::MTime, and its
    /// Thumb::Size when it has one, match the file as it is now; and Tessel's own record of a
    /// failure. The thumbnail is reduced to `maxPixelSize` when larger. Never throws.
    SharedThumbnail find(const std::filesystem::path& file, std::int64_t maxPixelSize) const;

    /// Stores `thumbnail` (encoded image bytes: a list thumbnail) as the `large` entry of the
    /// file that was looked up as `looked`: a PNG of at most 256 pixels with the Thumb::URI,
    /// Thumb::MTime, Thumb::Size and Software keys, readable by the user only, in folders
    /// only the user can open. Returns false when nothing was stored. Never throws.
    bool store(const SharedThumbnail& looked, std::span<const std::uint8_t> thumbnail) const;

    /// Records, under `fail/tessel-{version}/`, that no thumbnail of the file looked up as
    /// `looked` could be made: `find` reports it until the file changes, or another version of
    /// Tessel looks. Returns false when nothing was recorded. Never throws.
    bool storeFailure(const SharedThumbnail& looked) const;

    /// The cache's folder.
    const std::filesystem::path& folder() const { return folder_; }

private:
    std::filesystem::path folder_;
};

}  // namespace tessel
