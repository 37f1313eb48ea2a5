#pragma once
// The inside of a `PictureCache`: what a render asks it for.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include "tessel/PictureCache.hpp"
#include "tessel/Render.hpp"

#include "base/Bitmap.hpp"

namespace tessel::detail {

/// A decoded picture shared between the cache and the renders that draw it.
using SharedPicture = std::shared_ptr<const Bitmap>;

/// The pictures of one cache, most recently used first.
struct PictureStore {
    /// The picture of `file` for the decode bound `bound`: from the cache as `reuse` allows,
    /// else from `decode` (which throws when the file cannot be read) and then kept. A
    /// `finalSize` picture was decoded for the size it is drawn at, `bound` on its longer side;
    /// exact requests take only pictures made the same way.
    static SharedPicture picture(PictureCache& cache, const std::filesystem::path& file,
                                 std::int64_t bound, CachedPictures reuse,
                                 const std::function<Bitmap()>& decode, bool finalSize = false);

    /// `source` (the picture of `file` at a larger bound) at `drawnSize` on its longer side, for
    /// a cell that draws it at that size: a picture of the file kept at that size or up to a
    /// fifth larger, else `source` reduced and then kept. Such pictures are never exact.
    static SharedPicture drawnPicture(PictureCache& cache, const std::filesystem::path& file,
                                      std::int64_t drawnSize, const SharedPicture& source);

    /// The smallest picture of `file` kept for a bound of at least `bound`, decoded or
    /// reduced, counted as reused; nothing when there is none.
    static SharedPicture atLeast(PictureCache& cache, const std::filesystem::path& file,
                                 std::int64_t bound);

    struct Identity {
        std::filesystem::path file;
        std::uintmax_t size = 0;
        std::filesystem::file_time_type modified;
        friend bool operator==(const Identity&, const Identity&) = default;
    };
    struct Entry {
        Identity identity;
        std::int64_t bound = 0;
        bool exact = true;       // decoded at `bound`, not reduced from a larger picture
        bool finalSize = false;  // decoded straight to the size it is drawn at
        SharedPicture picture;
        std::int64_t bytes = 0;
    };

    void keepLocked(Entry entry);
    void evictLocked();

    mutable std::mutex mutex;  // guards everything below
    std::list<Entry> entries;
    std::int64_t capacity = 0;
    std::int64_t size = 0;
    PictureCacheCounts counts;
};

}  // namespace tessel::detail
