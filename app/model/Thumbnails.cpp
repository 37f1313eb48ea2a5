// The list's thumbnails, made after the items are listed: rows on screen first, then the rest.
//
// An item on a page the preview is about to draw waits for that page: its thumbnail is then
// reduced from the picture the page decoded, which the picture cache still holds. Any other
// item is decoded at the thumbnail's size and nothing is kept. While the page on screen is
// drawn no thumbnail starts, and those being decoded stop and are made again later, so the
// preview has the processors to itself.
//
// The desktop's shared thumbnail cache comes before any decoding: a photo a file manager has
// shown has a thumbnail there already. What is decoded here goes there in turn, and so does a
// failure, so that an unreadable file is not decoded again at every opening.

#include <QHash>
#include <QThread>
#include <algorithm>
#include <utility>

#include "tessel/Render.hpp"
#include "tessel/SharedThumbnails.hpp"

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {
namespace {

constexpr std::int64_t thumbnailPixels = 320;

}  // namespace

void AppModel::showingRows(qint64 first, qint64 last) {
    firstRowShown_ = std::max<qint64>(first, 0);
    lastRowShown_ = std::max(last, firstRowShown_);
    scheduleThumbnails();
}

void AppModel::stopThumbnails() {
    thumbnailsStop_->cancel();
    thumbnailsStop_ = std::make_shared<RenderCancellation>();
}

void AppModel::scheduleThumbnails() {
    // Listing comes first, then the page on screen; beside a page drawn ahead of the user,
    // thumbnails keep one processor.
    int limit = std::max(QThread::idealThreadCount(), 1);
    if (batchesRunning_ > 0) limit = 0;
    if (pageRender_) limit = pageRender_->page == previewPage_ ? 0 : std::max(limit - 1, 1);
    while (thumbnailsRunning_ < limit) {
        const ImageItem* item = nextThumbnail();
        if (!item) return;
        thumbnailsStarted_.insert(item->id);
        ++thumbnailsRunning_;
        runInBackground(
            [id = item->id, file = item->url, pictures = pictures_, stop = thumbnailsStop_] {
                const SharedThumbnails shared;
                SharedThumbnail looked = shared.find(file, thumbnailPixels);
                auto bytes = std::move(looked.thumbnail);
                if (!bytes && !looked.failedBefore) {
                    bytes =
                        TesselRenderer::thumbnailData(file, thumbnailPixels, *pictures, stop.get());
                    if (bytes)
                        shared.store(looked, *bytes);
                    else if (!stop->isCancelled())
                        shared.storeFailure(looked);
                }
                const bool stopped = !bytes && stop->isCancelled();
                return std::make_tuple(
                    id, stopped,
                    bytes ? QByteArray(reinterpret_cast<const char*>(bytes->data()),
                                       std::ssize(*bytes))
                          : QByteArray());
            },
            [](AppModel& model, const std::tuple<QUuid, bool, QByteArray>& made) {
                const auto& [id, stopped, bytes] = made;
                --model.thumbnailsRunning_;
                if (stopped) {
                    model.thumbnailsStarted_.remove(id);  // made again later
                } else {
                    model.thumbnailsMade_.insert(id, bytes);
                    // Thumbnails that arrive close together change the list once.
                    if (!model.thumbnailTimer_.isActive()) model.thumbnailTimer_.start();
                }
                model.scheduleThumbnails();
            });
    }
}

const ImageItem* AppModel::nextThumbnail() const {
    const auto count = static_cast<qint64>(items_.size());
    if (count == 0 || thumbnailsStarted_.size() >= count) return nullptr;
    // Pages fill in item order, so an item's page is its index over the cells of a page.
    const qint64 perPage = validationMessage() ? 0 : recipe_.itemsPerPage();
    const auto wanted = [&](qint64 row) {
        if (thumbnailsStarted_.contains(items_[static_cast<std::size_t>(row)].id)) return false;
        return !(perPage > 0 && isPageAboutToBeDrawn(row / perPage));
    };
    const qint64 first = std::min(firstRowShown_, count - 1);
    const qint64 last = std::clamp(lastRowShown_, first, count - 1);
    // The rows on screen, then those below them, then those above.
    using Rows = std::pair<qint64, qint64>;  // from, to (not included)
    for (const auto& [from, to] : {Rows{first, last + 1}, Rows{last + 1, count}, Rows{0, first}})
        for (qint64 row = from; row < to; ++row)
            if (wanted(row)) return &items_[static_cast<std::size_t>(row)];
    return nullptr;
}

void AppModel::applyThumbnails() {
    const QHash<QUuid, QByteArray> made = std::exchange(thumbnailsMade_, {});
    bool changed = false;
    for (ImageItem& item : items_) {
        const auto found = made.find(item.id);
        if (found == made.end() || found->isEmpty()) continue;
        item.thumbnailData = *found;
        changed = true;
    }
    if (changed) emit itemsChanged();
}

}  // namespace tessel::app
