// The image list: adding files and folders, sorting, reordering, removing, revealing.

#include <QFile>
#include <QStringList>
#include <algorithm>
#include <string>
#include <unordered_set>
#include <variant>

#include <QtConcurrent/QtConcurrentMap>

#include "tessel/ImageFiles.hpp"
#include "tessel/Inspection.hpp"
#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {
namespace {

namespace fs = std::filesystem;

// The files whose headers a batch reads before listing them: few at first, so that the first
// rows appear at once, then more, so that a large batch changes the list seldom.
constexpr std::size_t firstChunk = 32;
constexpr std::size_t largestChunk = 512;

// The path with its "." and ".." components resolved, as files are compared when added.
std::string standardized(const fs::path& file) { return file.lexically_normal().native(); }

// An item from the file's headers (its thumbnail comes later), or why there is none.
std::variant<ImageItem, SkippedFile> makeItem(const fs::path& file) {
    try {
        return ImageItem{QUuid::createUuid(), file, TesselRenderer::inspect(file), {}};
    } catch (const TesselError& error) {
        return SkippedFile{file, QString::fromStdString(error.errorDescription()),
                           QString::fromStdString(error.cause())};
    } catch (...) {
        const TesselError unreadable = TesselError::cannotRead(file.filename().string());
        return SkippedFile{file, QString::fromStdString(unreadable.errorDescription()), {}};
    }
}

// The cause under "No supported static images were found." when files were skipped: one
// line for each of the first few, its error and that error's cause.
QString skippedCause(const std::vector<SkippedFile>& skipped) {
    constexpr std::size_t kShown = 5;
    QStringList lines;
    for (std::size_t i = 0; i < std::min(skipped.size(), kShown); ++i)
        lines << (skipped[i].error + u' ' + skipped[i].cause).trimmed();
    if (skipped.size() > kShown)
        lines << QStringLiteral("… and %1 more.").arg(skipped.size() - kShown);
    return lines.join(u'\n');
}

// The files of one batch that become items, in scan order, and the RAW files left out for
// their JPEG or HEIC. The set is not extended while filtering: a file reached twice in one
// batch (a folder and a file inside it) becomes two items.
ImageFileScan newFiles(const std::vector<fs::path>& locations,
                       const std::unordered_set<std::string>& existing) {
    ImageFileScan scan = scanImageFiles(locations);
    std::erase_if(scan.files, [&existing](const fs::path& file) {
        return existing.contains(standardized(file));
    });
    return scan;
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
    if (locations.empty() || isExporting_ || isAbandoned()) return;
    setIsLoading(true);
    // The note about skipped files speaks of the last batch only.
    setSkippedFiles({});
    setPairedRawFiles({});
    ++batchesRunning_;
    std::unordered_set<std::string> existing;
    for (const ImageItem& item : items_) existing.insert(standardized(item.url));
    pool_.start([model = QPointer<AppModel>(this), locations, existing = std::move(existing),
                 abandoned = abandoned_] {
        ImageFileScan scan = newFiles(locations, existing);
        const std::vector<fs::path>& files = scan.files;
        bool any = false;
        std::size_t begin = 0;
        std::size_t chunk = firstChunk;
        do {
            const std::size_t end = std::min(files.size(), begin + chunk);
            // Every file of the chunk on every processor; the calling thread takes part.
            const auto made =
                QtConcurrent::blockingMapped<std::vector<std::variant<ImageItem, SkippedFile>>>(
                    std::vector<fs::path>(files.begin() + static_cast<std::ptrdiff_t>(begin),
                                          files.begin() + static_cast<std::ptrdiff_t>(end)),
                    makeItem);
            AddedItems added;
            for (const auto& result : made) {
                if (const auto* item = std::get_if<ImageItem>(&result))
                    added.items.push_back(*item);
                else
                    added.skipped.push_back(std::get<SkippedFile>(result));
            }
            if (begin == 0) added.pairedRaws = std::move(scan.pairedRaws);
            added.firstOfBatch = !any && !added.items.empty();
            any = any || !added.items.empty();
            added.lastOfBatch = end == files.size();
            added.batchAddedAny = any;
            applyLater(model, [added = std::move(added)](AppModel& alive) mutable {
                alive.mergeAdded(std::move(added));
            });
            begin = end;
            chunk = std::min(chunk * 2, largestChunk);
        } while (begin < files.size() && !abandoned->load());
    });
}

void AppModel::mergeAdded(AddedItems added) {
    const QUuid firstNew = added.items.empty() ? QUuid() : added.items.front().id;
    items_.insert(items_.end(), std::make_move_iterator(added.items.begin()),
                  std::make_move_iterator(added.items.end()));
    emit itemsChanged();
    if (!added.pairedRaws.empty()) {
        std::vector<PairedRawFile> paired = pairedRawFiles_;
        paired.insert(paired.end(), added.pairedRaws.begin(), added.pairedRaws.end());
        setPairedRawFiles(std::move(paired));
    }
    if (!added.skipped.empty()) {
        std::vector<SkippedFile> skipped = skippedFiles_;
        skipped.insert(skipped.end(), added.skipped.begin(), added.skipped.end());
        setSkippedFiles(std::move(skipped));
    }
    applySort();
    // The batch's first item in scan order, not after sorting.
    if (added.firstOfBatch && selectedID_.isNull()) setSelectedID(firstNew);
    if (added.lastOfBatch) {
        if (--batchesRunning_ == 0) setIsLoading(false);
        // Also when every file was already listed: the user added nothing new.
        if (!added.batchAddedAny) {
            QString message = QStringLiteral("No supported static images were found.");
            if (!skippedFiles_.empty()) message += u'\n' + skippedCause(skippedFiles_);
            setErrorMessage(message);
        }
    }
    refreshPreview();
    scheduleThumbnails();
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
    thumbnailsStarted_.remove(found->id);
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
    thumbnailsStarted_.clear();
    thumbnailsMade_.clear();
    setItems({});
    setSelectedID({});
    setSkippedFiles({});
    setPairedRawFiles({});
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
