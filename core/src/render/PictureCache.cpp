#include "tessel/PictureCache.hpp"

#include <algorithm>
#include <optional>
#include <system_error>

#include "decode/Reduce.hpp"
#include "render/PictureStore.hpp"

namespace tessel {
namespace detail {
namespace {

std::optional<PictureStore::Identity> identityOf(const std::filesystem::path& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error) return std::nullopt;
    const auto modified = std::filesystem::last_write_time(file, error);
    if (error) return std::nullopt;
    return PictureStore::Identity{file, size, modified};
}

// A slightly smaller picture still draws sharply: the bound keeps 2.2 pixels per pixel of
// the cell, and four fifths of it still keep more than 1.7.
bool closeEnough(std::int64_t cachedBound, std::int64_t bound) {
    return cachedBound * 5 >= bound * 4;
}

// A slightly larger one is drawn as it is: the page's filter takes the extra fifth in its
// stride for less than reducing it first would cost.
bool drawableAsItIs(std::int64_t cachedBound, std::int64_t bound) {
    return cachedBound * 4 <= bound * 5;
}

}  // namespace

SharedPicture PictureStore::picture(PictureCache& cache, const std::filesystem::path& file,
                                    std::int64_t bound, CachedPictures reuse,
                                    const std::function<Bitmap()>& decode, bool finalSize) {
    PictureStore& store = *cache.store_;
    const std::optional<Identity> identity = identityOf(file);
    // A file that cannot even be looked at is decoded anyway, for the decoder's own error.
    if (!identity) {
        cache.forget(file);
        return std::make_shared<const Bitmap>(decode());
    }

    SharedPicture larger;
    {
        const std::lock_guard lock(store.mutex);
        // Pictures of an older version of the file are of no use any more.
        std::erase_if(store.entries, [&](const Entry& entry) {
            const bool stale = entry.identity.file == file && !(entry.identity == *identity);
            if (stale) store.size -= entry.bytes;
            return stale;
        });
        const bool nearest = reuse == CachedPictures::nearest;
        auto best = store.entries.end();
        auto smaller = store.entries.end();
        for (auto entry = store.entries.begin(); entry != store.entries.end(); ++entry) {
            if (!(entry->identity == *identity) ||
                (!nearest && (!entry->exact || entry->finalSize != finalSize)))
                continue;
            if (entry->bound == bound) {
                best = entry;
                break;
            }
            if (!nearest) continue;
            // The larger source closest to the bound, decoded ones before reduced ones.
            if (entry->bound > bound &&
                (best == store.entries.end() || (entry->exact && !best->exact) ||
                 (entry->exact == best->exact && entry->bound < best->bound)))
                best = entry;
            if (entry->bound < bound && closeEnough(entry->bound, bound) &&
                (smaller == store.entries.end() || entry->bound > smaller->bound))
                smaller = entry;
        }
        if (best == store.entries.end()) best = smaller;
        if (best != store.entries.end()) {
            store.entries.splice(store.entries.begin(), store.entries, best);
            if (best->bound <= bound || (nearest && drawableAsItIs(best->bound, bound))) {
                ++store.counts.reused;
                return best->picture;
            }
            larger = best->picture;
        }
    }

    std::optional<Bitmap> made;
    if (larger) made = reducedPicture(*larger, bound);
    const bool decoded = !made;
    if (!made) made = decode();
    auto picture = std::make_shared<const Bitmap>(std::move(*made));

    const std::lock_guard lock(store.mutex);
    ++(decoded ? store.counts.decoded : store.counts.reduced);
    // A picture decoded for a preview may be a little smaller than the bound: never exact.
    const bool exact = decoded && reuse == CachedPictures::exact;
    store.keepLocked({*identity, bound, exact, finalSize, picture, std::ssize(picture->pixels)});
    return picture;
}

SharedPicture PictureStore::drawnPicture(PictureCache& cache, const std::filesystem::path& file,
                                         std::int64_t drawnSize, const SharedPicture& source) {
    PictureStore& store = *cache.store_;
    const std::optional<Identity> identity = identityOf(file);
    if (identity) {
        const std::lock_guard lock(store.mutex);
        auto closest = store.entries.end();
        for (auto entry = store.entries.begin(); entry != store.entries.end(); ++entry)
            if (entry->identity == *identity && entry->bound >= drawnSize &&
                drawableAsItIs(entry->bound, drawnSize) &&
                (closest == store.entries.end() || entry->bound < closest->bound))
                closest = entry;
        if (closest != store.entries.end()) {
            store.entries.splice(store.entries.begin(), store.entries, closest);
            ++store.counts.reused;
            return closest->picture;
        }
    }
    std::optional<Bitmap> reduced = reducedPicture(*source, drawnSize, ReduceFilter::cubic);
    if (!reduced) return source;  // the page scales it as it draws it instead
    auto picture = std::make_shared<const Bitmap>(std::move(*reduced));
    if (identity) {
        const std::lock_guard lock(store.mutex);
        ++store.counts.reduced;
        store.keepLocked(
            {*identity, drawnSize, false, false, picture, std::ssize(picture->pixels)});
    }
    return picture;
}

SharedPicture PictureStore::atLeast(PictureCache& cache, const std::filesystem::path& file,
                                    std::int64_t bound) {
    PictureStore& store = *cache.store_;
    const std::optional<Identity> identity = identityOf(file);
    if (!identity) return nullptr;
    const std::lock_guard lock(store.mutex);
    const Entry* smallest = nullptr;
    for (const Entry& entry : store.entries)
        if (entry.identity == *identity && entry.bound >= bound &&
            (!smallest || entry.bound < smallest->bound))
            smallest = &entry;
    if (!smallest) return nullptr;
    ++store.counts.reused;
    return smallest->picture;
}

void PictureStore::keepLocked(Entry entry) {
    // Another render may have made the same picture meanwhile; a decoded one wins.
    const auto same = std::ranges::find_if(entries, [&](const Entry& kept) {
        return kept.identity == entry.identity && kept.bound == entry.bound &&
               kept.finalSize == entry.finalSize;
    });
    if (same != entries.end()) {
        if (same->exact && !entry.exact) return;
        size -= same->bytes;
        entries.erase(same);
    }
    if (entry.bytes > capacity) return;
    size += entry.bytes;
    entries.push_front(std::move(entry));
    evictLocked();
}

void PictureStore::evictLocked() {
    while (size > capacity && !entries.empty()) {
        size -= entries.back().bytes;
        entries.pop_back();
    }
}

}  // namespace detail

PictureCache::PictureCache(std::int64_t capacityBytes)
    : store_(std::make_unique<detail::PictureStore>()) {
    store_->capacity = std::max<std::int64_t>(capacityBytes, 0);
}

PictureCache::~PictureCache() = default;

void PictureCache::setCapacity(std::int64_t capacityBytes) {
    const std::lock_guard lock(store_->mutex);
    store_->capacity = std::max<std::int64_t>(capacityBytes, 0);
    store_->evictLocked();
}

std::int64_t PictureCache::capacity() const {
    const std::lock_guard lock(store_->mutex);
    return store_->capacity;
}

std::int64_t PictureCache::size() const {
    const std::lock_guard lock(store_->mutex);
    return store_->size;
}

std::int64_t PictureCache::count() const {
    const std::lock_guard lock(store_->mutex);
    return std::ssize(store_->entries);
}

PictureCacheCounts PictureCache::counts() const {
    const std::lock_guard lock(store_->mutex);
    return store_->counts;
}

void PictureCache::forget(const std::filesystem::path& file) {
    const std::lock_guard lock(store_->mutex);
    std::erase_if(store_->entries, [&](const detail::PictureStore::Entry& entry) {
        const bool gone = entry.identity.file == file;
        if (gone) store_->size -= entry.bytes;
        return gone;
    });
}

void PictureCache::clear() {
    const std::lock_guard lock(store_->mutex);
    store_->entries.clear();
    store_->size = 0;
}

}  // namespace tessel
