#pragma once
/// Decoded pictures kept between renders, so that a render after an edit of the recipe draws
/// the pictures it already has instead of decoding the files again.

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tessel {

namespace detail {
struct PictureStore;
}

/// How often a cache served pictures, since it was made.
struct PictureCacheCounts {
    std::int64_t decoded = 0;  ///< pictures decoded from their files
    std::int64_t reused = 0;   ///< pictures taken from the cache as they were
    std::int64_t reduced = 0;  ///< pictures made in memory from a larger cached one

    friend bool operator==(const PictureCacheCounts&, const PictureCacheCounts&) = default;
};

/// Decoded, upright, sRGB pictures, each kept under its file's identity (path, size and
/// modification time) and the bound it was decoded at, within a budget of bytes; the least
/// recently used go first. A file whose size or modification time changed is decoded again
/// and its older pictures dropped. Safe to share between threads and between renders that
/// run at the same time.
class PictureCache {
public:
    /// The budget when none is given: 256 MB.
    static constexpr std::int64_t defaultCapacity = std::int64_t{256} * 1024 * 1024;

    /// An empty cache that holds at most `capacityBytes` of pixels (at least 0).
    explicit PictureCache(std::int64_t capacityBytes = defaultCapacity);
    ~PictureCache();
    PictureCache(const PictureCache&) = delete;
    PictureCache& operator=(const PictureCache&) = delete;

    /// Sets the budget and drops the least recently used pictures until it holds.
    void setCapacity(std::int64_t capacityBytes);
    std::int64_t capacity() const;
    /// Bytes of pixels held now; never above `capacity()`.
    std::int64_t size() const;
    /// Pictures held now.
    std::int64_t count() const;
    /// How often pictures were decoded, reused and reduced.
    PictureCacheCounts counts() const;

    /// Drops every picture of `file` (for an image that left the list).
    void forget(const std::filesystem::path& file);
    /// Drops every picture.
    void clear();

private:
    friend struct detail::PictureStore;
    std::unique_ptr<detail::PictureStore> store_;
};

}  // namespace tessel
