// The image list: adding files and folders, sorting, reordering, removing, revealing.

#include <QFile>
#include <algorithm>
#include <string>
#include <unordered_set>

#include <QtConcurrent/QtConcurrentMap>

#include "tessel/ImageFiles.hpp"
#include "tessel/Inspection.hpp"
#include "tessel/Render.hpp"

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t thumbnailPixels = 320;

// The path with its "." and ".." components resolved, as files are compared when added.
std::string standardized(const fs::path& file) { return file.lexically_normal().native(); }

// Where the pictures decoded for the list's thumbnails go, and at what bound; none when they
// are decoded at the thumbnail's size only.
struct SheetPictures {
    std::shared_ptr<PictureCache> cache;
    std::int64_t bound = 0;
};

// True when `count` pictures decoded at `bound` fit in `cache` together. A bound is at most
// 2.2 times a page's side, so its square cannot overflow.
bool allFit(const PictureCache& cache, std::int64_t bound, std::int64_t count) {
    return count <= cache.capacity() / (4 * bound * bound);
}

std::optional<ImageItem> makeItem(const fs::path& file, const SheetPictures& pictures) {
    try {
        SheetImageInfo info = TesselRenderer::inspect(file);
        QByteArray thumbnail;
        auto bytes = pictures.cache ? TesselRenderer::thumbnailData(file, thumbnailPixels,
                                                                    *pictures.cache, pictures.bound)
                                    : TesselRenderer::thumbnailData(file, thumbnailPixels);
        if (bytes)
            thumbnail =
                QByteArray(reinterpret_cast<const char*>(bytes->data()), std::ssize(*bytes));
        return ImageItem{QUuid::createUuid(), file, std::move(info), std::move(thumbnail)};
    } catch (...) {
        return std::nullopt;  // unreadable, animated or otherwise unusable: skipped silently
    }
}

// The new items of one batch, in scan order. Runs off the main thread.
std::vector<ImageItem> scanBatch(const std::vector<fs::path>& locations,
                                 const std::unordered_set<std::string>& existing,
                                 SheetPictures pictures) {
    // The set is not extended while filtering: a file reached twice in one batch (a folder
    // and a file inside it) becomes two items.
    std::vector<fs::path> files;
    for (fs::path& file : imageFiles(locations))
        if (!existing.contains(standardized(file))) files.push_back(std::move(file));

    // The preview draws the pictures decoded here, unless the batch's pictures would not all
    // fit in the cache (counted square): the first would be gone before the render came to
    // them, so each file is decoded only as small as its thumbnail.
    if (pictures.cache &&
        !allFit(*pictures.cache, pictures.bound, std::ssize(files) + std::ssize(existing)))
        pictures.cache.reset();

    // Every file on every processor; the calling thread takes part, so this cannot starve.
    const std::vector<std::optional<ImageItem>> made =
        QtConcurrent::blockingMapped<std::vector<std::optional<ImageItem>>>(
            files, [&](const fs::path& file) { return makeItem(file, pictures); });
    std::vector<ImageItem> items;
    items.reserve(made.size());
    for (const std::optional<ImageItem>& item : made)
        if (item) items.push_back(*item);
    return items;
}

}  // namespace

void AppModel::chooseImages() {
    if (isExporting_) return;
    const std::vector<fs::path> chosen = services_.dialogs.chooseFilesAndFolders(
        {QStringLiteral("Choose images or folders"), QStringLiteral("Add")});
    if (!chosen.empty()) add(chosen);
}

void AppModel::add(const QList<QUrl>& urls) {
    std::vector<fs::path> locations;
    for (const QUrl& url : urls)
        if (url.isLocalFile())
            locations.emplace_back(QFile::encodeName(url.toLocalFile()).toStdString());
    add(locations);
}

void AppModel::add(const std::vector<fs::path>& locations) {
    if (locations.empty() || isExporting_) return;
    setIsLoading(true);
    std::unordered_set<std::string> existing;
    for (const ImageItem& item : items_) existing.insert(standardized(item.url));
    // The pictures the sheet's next preview draws are decoded once, for the thumbnails too.
    SheetPictures pictures;
    if (const auto bound = TesselRenderer::pictureBound(recipe_)) pictures = {pictures_, *bound};
    runInBackground(
        [locations, existing, pictures] { return scanBatch(locations, existing, pictures); },
        [](AppModel& model, std::vector<ImageItem> added) { model.mergeAdded(std::move(added)); });
}

void AppModel::mergeAdded(std::vector<ImageItem> added) {
    const QUuid firstNew = added.empty() ? QUuid() : added.front().id;
    items_.insert(items_.end(), std::make_move_iterator(added.begin()),
                  std::make_move_iterator(added.end()));
    emit itemsChanged();
    applySort();
    if (selectedID_.isNull()) setSelectedID(firstNew);
    setIsLoading(false);
    // Also when every file was already listed: the user added nothing new.
    if (added.empty()) setErrorMessage(QStringLiteral("No supported static images were found."));
    refreshPreview();
}

void AppModel::applySort() {
    if (sort_ == ImageSort::manual) return;
    sortItems(items_, sort_);
    emit itemsChanged();
}

void AppModel::chooseSort(ImageSort order) {
    setSort(order);
    applySort();
    refreshPreview();
}

void AppModel::moveSelected(qint64 by) {
    const auto found = std::ranges::find(items_, selectedID_, &ImageItem::id);
    if (selectedID_.isNull() || found == items_.end()) return;
    const auto count = std::ssize(items_);
    const auto index = found - items_.begin();
    // Clamping the offset first keeps the sum from overflowing.
    const auto target =
        std::clamp<qint64>(index + std::clamp<qint64>(by, -count, count), 0, count - 1);
    if (target == index) return;
    std::swap(items_[static_cast<std::size_t>(index)], items_[static_cast<std::size_t>(target)]);
    emit itemsChanged();
    setSort(ImageSort::manual);
    refreshPreview();
}

void AppModel::move(const QUuid& id, const QUuid& before) {
    if (id == before) return;
    const auto from = std::ranges::find(items_, id, &ImageItem::id) - items_.begin();
    const auto to = std::ranges::find(items_, before, &ImageItem::id) - items_.begin();
    if (from == std::ssize(items_) || to == std::ssize(items_)) return;
    ImageItem dragged = std::move(items_[static_cast<std::size_t>(from)]);
    items_.erase(items_.begin() + from);
    items_.insert(items_.begin() + (from < to ? to - 1 : to), std::move(dragged));
    emit itemsChanged();
    setSort(ImageSort::manual);
    refreshPreview();
}

void AppModel::removeSelected() {
    const auto found = std::ranges::find(items_, selectedID_, &ImageItem::id);
    if (selectedID_.isNull() || found == items_.end() || isExporting_) return;
    const auto index = found - items_.begin();
    const std::filesystem::path removed = found->url;
    items_.erase(found);
    forgetPictures(removed);
    emit itemsChanged();
    if (items_.empty())
        setSelectedID({});
    else
        setSelectedID(items_[static_cast<std::size_t>(std::min(index, std::ssize(items_) - 1))].id);
    refreshPreview();
}

void AppModel::removeAll() {
    if (isExporting_) return;
    pictures_->clear();
    setItems({});
    setSelectedID({});
    setPreviewResult(std::nullopt);
    cancelPreview();
    // The cancelled task would have cleared the flag; with nothing to render, it is settled here.
    setIsRendering(false);
    setPreviewPage(0);
}

void AppModel::forgetPictures(const std::filesystem::path& file) {
    // The same file may be listed twice; its pictures stay while it is listed at all.
    if (std::ranges::find(items_, file, &ImageItem::url) == items_.end()) pictures_->forget(file);
}

void AppModel::revealSelected() {
    if (const std::optional<ImageItem> item = selectedItem())
        services_.fileViewer.showItems({item->url});
}

}  // namespace tessel::app
