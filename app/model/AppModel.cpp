#include "model/AppModel.hpp"

#include <algorithm>

#include "tessel/Render.hpp"

#include "model/RecipeCheck.hpp"

namespace tessel::app {
namespace {

// Background tasks mostly wait (on the network, on the core's own render threads), so the
// pool may hold more of them than there are processors.
constexpr int leastBackgroundThreads = 8;

}  // namespace

AppModel::AppModel(AppServices services, QObject* parent)
    : QObject(parent),
      services_(std::move(services)),
      layoutsFile_(layoutsFileLocation()),
      version_(QString::fromStdString(services_.updates.version)),
      recipe_(tessel::recipe(SheetPreset::contact)),
      selectedPreset_(SheetPreset::contact),
      baseName_(QStringLiteral("Contact Sheet")) {
    pool_.setMaxThreadCount(std::max(QThread::idealThreadCount() + 6, leastBackgroundThreads));
    previewTimer_.setSingleShot(true);
    previewTimer_.setInterval(280);
    connect(&previewTimer_, &QTimer::timeout, this, &AppModel::startPreviewRender);
    drawTimer_.setSingleShot(true);
    drawTimer_.setInterval(0);
    connect(&drawTimer_, &QTimer::timeout, this, &AppModel::drawNextPage);
    thumbnailTimer_.setSingleShot(true);
    thumbnailTimer_.setInterval(100);
    connect(&thumbnailTimer_, &QTimer::timeout, this, &AppModel::applyThumbnails);

    savedLayouts_ = loadSavedLayouts(layoutsFile_);
    checkForUpdate();
}

AppModel::~AppModel() {
    abandonBackgroundWork();
    pool_.waitForDone();
}

void AppModel::abandonBackgroundWork() {
    abandoned_->store(true);
    cancelPreview();
    stopThumbnails();
    cancelPrint();
    if (exportTask_) exportTask_->cancel();
    drawTimer_.stop();
    thumbnailTimer_.stop();
}

void AppModel::waitForBackgroundWork() { pool_.waitForDone(); }

bool AppModel::waitForBackgroundWork(int milliseconds) { return pool_.waitForDone(milliseconds); }

bool AppModel::isIdle() const {
    return batchesRunning_ == 0 && !previewTimer_.isActive() && !drawTimer_.isActive() &&
           !pageRender_ && thumbnailsRunning_ == 0 && !thumbnailTimer_.isActive() && !exportTask_ &&
           !printTask_ && pool_.activeThreadCount() == 0;
}

QUrl AppModel::feedbackURL() const {
    return QUrl(QStringLiteral("https://orvane.com/?app=tessel"));
}

QUrl AppModel::websiteURL() const {
    return QUrl(QString::fromStdString(Updater::manifestLocation()))
        .resolved(QUrl(QStringLiteral(".")));
}

// --- Observation ------------------------------------------------------------------------------

template <class T>
void AppModel::assign(T& field, const T& value, void (AppModel::*signal)()) {
    if (field == value) return;
    field = value;
    emit(this->*signal)();
}

void AppModel::setItems(std::vector<ImageItem> items) {
    items_ = std::move(items);
    emit itemsChanged();
}

void AppModel::setSelectedID(const QUuid& id) {
    assign(selectedID_, id, &AppModel::selectedIDChanged);
}

void AppModel::setRecipe(const SheetRecipe& recipe) {
    assign(recipe_, recipe, &AppModel::recipeValueChanged);
}

void AppModel::setSelectedPreset(std::optional<SheetPreset> preset) {
    assign(selectedPreset_, preset, &AppModel::selectedPresetChanged);
}

void AppModel::setSavedLayouts(std::vector<SavedLayout> layouts) {
    // Saving and deleting notify even when the list ends up equal.
    savedLayouts_ = std::move(layouts);
    emit savedLayoutsChanged();
}

void AppModel::setSort(ImageSort sort) { assign(sort_, sort, &AppModel::sortChanged); }

void AppModel::setBaseName(const QString& baseName) {
    assign(baseName_, baseName, &AppModel::baseNameChanged);
}

void AppModel::setIsLoading(bool loading) {
    assign(isLoading_, loading, &AppModel::isLoadingChanged);
}

void AppModel::setIsRendering(bool rendering) {
    assign(isRendering_, rendering, &AppModel::isRenderingChanged);
}

void AppModel::setIsExporting(bool exporting) {
    assign(isExporting_, exporting, &AppModel::isExportingChanged);
}

void AppModel::setIsDropTargeted(bool targeted) {
    assign(isDropTargeted_, targeted, &AppModel::isDropTargetedChanged);
}

void AppModel::setPreviewResult(std::optional<SheetPreview> result) {
    // Compared byte for byte, so an identical redraw does not redraw the views; the new value
    // is kept all the same, as it knows the sheet its next pages come from.
    const bool same = previewResult_ == result;
    previewResult_ = std::move(result);
    if (!same) emit previewResultChanged();
}

void AppModel::setPreviewPage(qint64 page) {
    assign(previewPage_, page, &AppModel::previewPageChanged);
}

void AppModel::setErrorMessage(const std::optional<QString>& message) {
    assign(errorMessage_, message, &AppModel::errorMessageChanged);
}

void AppModel::setSkippedFiles(std::vector<SkippedFile> files) {
    if (skippedFiles_ == files) return;
    skippedFiles_ = std::move(files);
    emit skippedFilesChanged();
}

void AppModel::setPairedRawFiles(std::vector<PairedRawFile> files) {
    if (pairedRawFiles_ == files) return;
    pairedRawFiles_ = std::move(files);
    emit pairedRawFilesChanged();
}

void AppModel::setLastExportedURLs(std::vector<std::filesystem::path> files) {
    if (lastExportedURLs_ == files) return;
    lastExportedURLs_ = std::move(files);
    emit lastExportedURLsChanged();
}

void AppModel::setAvailableUpdate(const std::optional<UpdateInfo>& update) {
    assign(availableUpdate_, update, &AppModel::availableUpdateChanged);
}

void AppModel::setIsUpdating(bool updating) {
    assign(isUpdating_, updating, &AppModel::isUpdatingChanged);
}

void AppModel::setIsCheckingForUpdate(bool checking) {
    assign(isCheckingForUpdate_, checking, &AppModel::isCheckingForUpdateChanged);
}

void AppModel::setPreviewTask(quint64 task) {
    assign(previewTask_, task, &AppModel::previewTaskChanged);
}

void AppModel::setExportProgress(const std::optional<PageProgress>& progress) {
    assign(exportProgress_, progress, &AppModel::exportProgressChanged);
}

void AppModel::setPrintProgress(const std::optional<PageProgress>& progress) {
    assign(printProgress_, progress, &AppModel::printProgressChanged);
}

// --- Derived values ---------------------------------------------------------------------------

std::optional<ImageItem> AppModel::selectedItem() const {
    if (selectedID_.isNull()) return std::nullopt;
    const auto found = std::ranges::find(items_, selectedID_, &ImageItem::id);
    if (found == items_.end()) return std::nullopt;
    return *found;
}

std::optional<QString> AppModel::validationMessage() const {
    return app::validationMessage(recipe_, std::ssize(items_));
}

bool AppModel::canExport() const {
    return !items_.empty() && !isLoading_ && !isRendering_ && !isExporting_ && !validationMessage();
}

qint64 AppModel::pageCount() const {
    const auto count = static_cast<std::int64_t>(items_.size());
    if (count == 0) return 1;
    try {
        return TesselRenderer::pageCount(count, recipe_);
    } catch (const TesselError&) {
        // A recipe that lays out nothing: as many pages as the grid would need.
    }
    const std::int64_t perPage = recipe_.itemsPerPage();
    return std::max<qint64>(count / perPage + (count % perPage != 0 ? 1 : 0), 1);
}

QByteArray AppModel::currentPreviewData() const {
    if (!previewResult_) return {};
    const auto page = previewResult_->pages.find(previewPage_);
    if (page == previewResult_->pages.end()) return {};
    return QByteArray(reinterpret_cast<const char*>(page->second.data()), std::ssize(page->second));
}

std::vector<SheetInput> AppModel::inputs() const {
    std::vector<SheetInput> inputs;
    inputs.reserve(items_.size());
    for (const ImageItem& item : items_) inputs.push_back({item.url, item.info});
    return inputs;
}

}  // namespace tessel::app
