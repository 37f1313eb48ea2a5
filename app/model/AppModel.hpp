#pragma once
/// `AppModel`: the application's one model object. It holds the image list, the current
/// recipe, the preview, the saved layouts and the update state; every button of the window
/// is one of its operations. It lives on the main thread; background work gets value copies.
///
/// Observation: every stored property has a change signal. Assigning a value equal to the
/// current one emits nothing; `items` is the exception and emits on every assignment and every
/// change in place (items have no equality). The derived values (`selectedItem`,
/// `validationMessage`, `canExport`, `pageCount`, `currentPreviewData`) have no signal of
/// their own: they are recomputed on every read, and a view re-reads them when a property
/// they depend on changes (see each one).

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <QUuid>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tessel/ImageFiles.hpp"
#include "tessel/Render.hpp"
#include "tessel/SavedLayouts.hpp"
#include "tessel/SheetRecipe.hpp"
#include "tessel/TesselError.hpp"
#include "tessel/Updater.hpp"

#include "model/ImageItem.hpp"
#include "model/ImageSort.hpp"
#include "model/SheetPreview.hpp"
#include "model/SkippedFile.hpp"
#include "services/AppServices.hpp"

class QPdfDocument;

namespace tessel::app {

class AppModel : public QObject {
    Q_OBJECT
    // Stored properties, in declaration order.
    Q_PROPERTY(QUrl feedbackURL READ feedbackURL CONSTANT)
    Q_PROPERTY(QUrl websiteURL READ websiteURL CONSTANT)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(std::vector<tessel::app::ImageItem> items READ items NOTIFY itemsChanged)
    Q_PROPERTY(QUuid selectedID READ selectedID WRITE setSelectedID NOTIFY selectedIDChanged)
    // Seen by the meta-object system as an optional (never empty): a property's type needs a
    // default value, and a recipe has none.
    Q_PROPERTY(std::optional<tessel::SheetRecipe> recipe READ recipeProperty WRITE setRecipeProperty
                   NOTIFY recipeValueChanged)
    Q_PROPERTY(std::optional<tessel::SheetPreset> selectedPreset READ selectedPreset WRITE
                   setSelectedPreset NOTIFY selectedPresetChanged)
    Q_PROPERTY(
        std::vector<tessel::SavedLayout> savedLayouts READ savedLayouts NOTIFY savedLayoutsChanged)
    Q_PROPERTY(tessel::app::ImageSort sort READ sort WRITE setSort NOTIFY sortChanged)
    Q_PROPERTY(QString baseName READ baseName WRITE setBaseName NOTIFY baseNameChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(bool isRendering READ isRendering NOTIFY isRenderingChanged)
    Q_PROPERTY(bool isExporting READ isExporting NOTIFY isExportingChanged)
    Q_PROPERTY(bool isDropTargeted READ isDropTargeted WRITE setIsDropTargeted NOTIFY
                   isDropTargetedChanged)
    Q_PROPERTY(std::optional<tessel::app::SheetPreview> previewResult READ previewResult NOTIFY
                   previewResultChanged)
    Q_PROPERTY(qint64 previewPage READ previewPage NOTIFY previewPageChanged)
    Q_PROPERTY(std::optional<QString> errorMessage READ errorMessage WRITE setErrorMessage NOTIFY
                   errorMessageChanged)
    Q_PROPERTY(std::vector<std::filesystem::path> lastExportedURLs READ lastExportedURLs NOTIFY
                   lastExportedURLsChanged)
    Q_PROPERTY(std::optional<tessel::UpdateInfo> availableUpdate READ availableUpdate NOTIFY
                   availableUpdateChanged)
    Q_PROPERTY(bool isUpdating READ isUpdating NOTIFY isUpdatingChanged)
    Q_PROPERTY(bool isCheckingForUpdate READ isCheckingForUpdate NOTIFY isCheckingForUpdateChanged)
    Q_PROPERTY(quint64 previewTask READ previewTask NOTIFY previewTaskChanged)
    Q_PROPERTY(std::optional<tessel::app::PageProgress> exportProgress READ exportProgress NOTIFY
                   exportProgressChanged)
    Q_PROPERTY(std::optional<tessel::app::PageProgress> printProgress READ printProgress NOTIFY
                   printProgressChanged)
    Q_PROPERTY(std::vector<tessel::app::SkippedFile> skippedFiles READ skippedFiles NOTIFY
                   skippedFilesChanged)
    Q_PROPERTY(std::vector<tessel::PairedRawFile> pairedRawFiles READ pairedRawFiles NOTIFY
                   pairedRawFilesChanged)
    // Derived, read-only.
    Q_PROPERTY(std::optional<tessel::app::ImageItem> selectedItem READ selectedItem)
    Q_PROPERTY(std::optional<QString> validationMessage READ validationMessage)
    Q_PROPERTY(bool canExport READ canExport)
    Q_PROPERTY(qint64 pageCount READ pageCount)
    Q_PROPERTY(QByteArray currentPreviewData READ currentPreviewData)

public:
    /// Constructs in this order: every property at its initial value (the `contact` preset's
    /// recipe, "Contact Sheet", an empty list, no preview, no update known), then the saved
    /// layouts loaded from `layoutsFileLocation()` (the one small file the main thread reads),
    /// then the automatic update check started in the background. `services` must outlive the
    /// model; the destructor waits for the model's background work to finish.
    explicit AppModel(AppServices services, QObject* parent = nullptr);
    ~AppModel() override;

    AppModel(const AppModel&) = delete;
    AppModel& operator=(const AppModel&) = delete;

    // --- Stored properties -------------------------------------------------------------------

    /// The feedback web page, "https://orvane.com/?app=tessel".
    QUrl feedbackURL() const;
    /// The product's web page: the folder of the update manifest, ending in a slash.
    QUrl websiteURL() const;
    /// The running version: the release version compiled in, or "Development".
    QString version() const { return version_; }

    /// The image list in cell order: item i goes into the i-th cell of the sheet.
    const std::vector<ImageItem>& items() const { return items_; }
    /// The selected item's id; null when nothing is selected.
    QUuid selectedID() const { return selectedID_; }
    void setSelectedID(const QUuid& id);
    /// The settings every preview and export uses. After writing a field call
    /// `recipeChanged()`, or use `editRecipe`, which does both.
    const SheetRecipe& recipe() const { return recipe_; }
    void setRecipe(const SheetRecipe& recipe);
    /// The preset last applied; cleared by every recipe change.
    std::optional<SheetPreset> selectedPreset() const { return selectedPreset_; }
    void setSelectedPreset(std::optional<SheetPreset> preset);
    /// The user's saved layouts, oldest first.
    const std::vector<SavedLayout>& savedLayouts() const { return savedLayouts_; }
    /// The list's order. Use `chooseSort` to sort by it.
    ImageSort sort() const { return sort_; }
    void setSort(ImageSort sort);
    /// The file name the export panel proposes, before the suffix and extension.
    QString baseName() const { return baseName_; }
    void setBaseName(const QString& baseName);
    /// True while a batch of added files is scanned and their headers read. Items appear as
    /// their headers are read; thumbnails fill in afterwards.
    bool isLoading() const { return isLoading_; }
    /// True while a preview is scheduled, or the page on screen is being drawn.
    bool isRendering() const { return isRendering_; }
    /// True while an export runs; adding and removing images are refused meanwhile.
    bool isExporting() const { return isExporting_; }
    /// Set by the window while a drag hovers over it.
    bool isDropTargeted() const { return isDropTargeted_; }
    void setIsDropTargeted(bool targeted);
    /// The latest preview: the pages drawn so far of the latest sheet that drew one.
    const std::optional<SheetPreview>& previewResult() const { return previewResult_; }
    /// The zero-based page shown in the preview.
    qint64 previewPage() const { return previewPage_; }
    /// The message for the user; the window shows it and sets it to nothing when dismissed.
    /// A failure's message is its description, then, after a line break, its cause when one
    /// is known: "a.jpg could not be read.\nPermission denied.". The first line alone is the
    /// headline; a batch that added nothing lists the files it skipped, one line each.
    const std::optional<QString>& errorMessage() const { return errorMessage_; }
    void setErrorMessage(const std::optional<QString>& message);
    /// The files written by the last successful export, in page order.
    const std::vector<std::filesystem::path>& lastExportedURLs() const { return lastExportedURLs_; }
    /// The result of the latest update check; nothing when it found no update.
    const std::optional<UpdateInfo>& availableUpdate() const { return availableUpdate_; }
    /// True from "Update Now" until the installation fails (on success the application quits).
    bool isUpdating() const { return isUpdating_; }
    /// True while an update check the user asked for runs.
    bool isCheckingForUpdate() const { return isCheckingForUpdate_; }
    /// The preview task last scheduled, 1 and up; 0 before the first. Cancelling a task leaves
    /// its number here.
    quint64 previewTask() const { return previewTask_; }
    /// Pages drawn so far while an export renders; nothing otherwise.
    const std::optional<PageProgress>& exportProgress() const { return exportProgress_; }
    /// Pages drawn so far while "Print…" renders the pages the preview does not hold; nothing
    /// otherwise.
    const std::optional<PageProgress>& printProgress() const { return printProgress_; }
    /// The files the last batch of added files left out, in scan order, with why. Emptied when
    /// the next batch starts and by `removeAll`; the list itself never shows them.
    const std::vector<SkippedFile>& skippedFiles() const { return skippedFiles_; }
    /// The camera RAW files the last batch left out because a JPEG or HEIC of the same name
    /// beside them is listed instead; emptied as `skippedFiles` is.
    const std::vector<PairedRawFile>& pairedRawFiles() const { return pairedRawFiles_; }

    // --- Derived values ----------------------------------------------------------------------

    /// The item whose id is `selectedID`; nothing when there is none. Changes with `items`
    /// and `selectedID`.
    std::optional<ImageItem> selectedItem() const;
    /// The recipe's first problem (see `tessel::app::validationMessage`). Changes with
    /// `recipe` and `items`.
    std::optional<QString> validationMessage() const;
    /// True when there are items, nothing loads, renders or exports, and the recipe is valid.
    bool canExport() const;
    /// Pages of the sheet (at least 1), from the layout of the items with the recipe; when the
    /// recipe lays out nothing, an estimate from the item count and the grid. Changes with
    /// `items` and `recipe`.
    qint64 pageCount() const;
    /// The encoded image (PNG, or JPEG for JPEG output) of page `previewPage`; empty when
    /// there is no preview or that page is not drawn yet.
    QByteArray currentPreviewData() const;

    // --- The image list ----------------------------------------------------------------------

    /// Shows the open panel and adds what the user chose. Nothing while exporting.
    void chooseImages();
    /// Adds the image files among `locations` (folders are searched) in the background;
    /// returns at once. Nothing for an empty list or while exporting.
    void add(const std::vector<std::filesystem::path>& locations);
    /// `add` for the local files among `urls` (from a drop); other URLs are ignored.
    void add(const QList<QUrl>& urls);
    /// The window's sort menu: sets `sort`, sorts the list by it and refreshes the preview,
    /// all three even when `sort` already is `order`.
    void chooseSort(ImageSort order);
    /// Swaps the selected item with the one `by` places away (clamped to the list); a move
    /// switches the order to `manual` and refreshes the preview.
    void moveSelected(qint64 by);
    /// Puts item `id` immediately before item `before` (a drag onto a row).
    void move(const QUuid& id, const QUuid& before);
    /// Removes the selected item and selects the one that took its place. Not while exporting.
    void removeSelected();
    /// Empties the list and the preview. Not while exporting.
    void removeAll();
    /// Shows the selected item's file in the file viewer.
    void revealSelected();

    // --- Recipe, preview and export ------------------------------------------------------------

    /// Tells the model that `recipe` changed: clears `selectedPreset`, keeps `previewPage`
    /// within the pages, and schedules a preview.
    void recipeChanged();
    /// Applies `edit` to the recipe, then `recipeChanged()`: how a control writes one field.
    void editRecipe(const std::function<void(SheetRecipe&)>& edit);
    /// Sets the recipe to `preset`'s and `selectedPreset` to it, then `recipeChanged()`.
    void applyPreset(SheetPreset preset);
    /// Sets the recipe to `layout`'s and clears `selectedPreset`, then `recipeChanged()`.
    void applyLayout(const SavedLayout& layout);
    /// Schedules a preview render 280 ms from now, cancelling the one scheduled or running.
    /// With no items or an invalid recipe the preview is cleared instead.
    void refreshPreview();
    /// One preview page back or forward, within the pages. A page not drawn yet is drawn at
    /// once, without the wait for further edits.
    void previousPage();
    void nextPage();
    /// Tells the model which rows of the list are on screen (from 0, `last` included), so that
    /// their thumbnails are made first.
    void showingRows(qint64 first, qint64 last);
    /// Asks for a location in the save panel, then renders and writes the sheet there in the
    /// background, with `exportProgress`. Nothing unless `canExport`.
    void exportSheet();
    /// Stops the export's render; nothing is written and no message is shown.
    void cancelExport();
    /// Prints the preview's pages through the printing service, at the size they were drawn
    /// for. When the preview does not hold every page, the missing ones are drawn first in the
    /// background, with `printProgress`. Nothing without a preview.
    void printSheet();
    /// Stops drawing the pages for printing; nothing is printed.
    void cancelPrint();
    /// Shows the files of the last export in the file viewer.
    void revealOutput();

    // --- Saved layouts -----------------------------------------------------------------------

    /// Saves the current recipe under `named` with white space trimmed from both ends, and
    /// rewrites the layouts file. A blank name saves nothing.
    void saveCurrentLayout(const QString& named);
    /// Removes every saved layout with `layout`'s id and rewrites the layouts file.
    void deleteLayout(const SavedLayout& layout);

    // --- Updates -----------------------------------------------------------------------------

    /// The automatic update check; the constructor starts it. Prompts for a found update
    /// unless the user chose "Later" for that very version before.
    void checkForUpdate();
    /// "Check for Updates…": checks at once (one check at a time) and always answers.
    void checkForUpdatesManually();
    /// Offers `availableUpdate`: "Update Now" installs it, "Later" remembers the version.
    void promptForUpdate();

    /// Quitting: stops what runs in the background (renders, thumbnails, batches between
    /// chunks, an export, the pages drawn for printing, an installation before its swap) and
    /// drops every result still to come. The model does nothing more until it is destroyed.
    void abandonBackgroundWork();
    /// True once `abandonBackgroundWork` was called.
    bool isAbandoned() const { return abandoned_->load(); }

    /// Blocks until the background work started so far has finished. Its results reach the
    /// model through the event loop afterwards. For tests and measurements.
    void waitForBackgroundWork();
    /// Blocks at most `milliseconds` for it; true when it finished.
    bool waitForBackgroundWork(int milliseconds);
    /// True when no work is running or waiting: no batch, page, thumbnail, export or print, and
    /// no result waiting to be applied. For tests and measurements.
    bool isIdle() const;
    /// The decoded pictures that previews and exports share, held while their images are
    /// listed. For tests and measurements.
    const PictureCache& pictureCache() const { return *pictures_; }

signals:
    void itemsChanged();
    void selectedIDChanged();
    /// `recipe` changed value. (`recipeChanged()` is the operation the controls call.)
    void recipeValueChanged();
    void selectedPresetChanged();
    void savedLayoutsChanged();
    void sortChanged();
    void baseNameChanged();
    void isLoadingChanged();
    void isRenderingChanged();
    void isExportingChanged();
    void isDropTargetedChanged();
    void previewResultChanged();
    void previewPageChanged();
    void errorMessageChanged();
    void lastExportedURLsChanged();
    void availableUpdateChanged();
    void isUpdatingChanged();
    void isCheckingForUpdateChanged();
    void previewTaskChanged();
    void exportProgressChanged();
    void printProgressChanged();
    void skippedFilesChanged();
    void pairedRawFilesChanged();

    /// A preview started drawing its pages in the background, after the wait.
    void previewRenderStarted();
    /// An update was handed over to its installer: the application must quit now.
    void quitRequested();

private:
    // A background result, or the user-facing text of its failure.
    template <class T>
    struct Outcome {
        std::optional<T> value;
        QString error;
        bool cancelled = false;  // stopped on purpose: neither a value nor a failure
    };
    // One page of the preview being drawn in the background.
    struct PageRender {
        std::shared_ptr<const PreviewSheet> sheet;
        qint64 page = 0;
        std::shared_ptr<RenderCancellation> cancellation;
    };
    // Items of one batch of added files whose headers were read, in scan order.
    struct AddedItems {
        std::vector<ImageItem> items;
        std::vector<SkippedFile> skipped;
        std::vector<PairedRawFile> pairedRaws;
        bool firstOfBatch = false;  // holds the batch's first new item
        bool lastOfBatch = false;
        bool batchAddedAny = false;  // the batch made at least one item so far
    };

    // Assigns `value` to `field` and emits `signal` when they differ.
    template <class T>
    void assign(T& field, const T& value, void (AppModel::*signal)());
    // Runs `work` on the model's threads; `apply` gets its result on the main thread, unless
    // the model is gone by then. Defined in model/Background.hpp.
    template <class Work, class Apply>
    void runInBackground(Work work, Apply apply);
    // Calls `apply` on the main thread with the model, unless the model is gone by then. For
    // work that hands back more than one result. Defined in model/Background.hpp.
    template <class Apply>
    static void applyLater(const QPointer<AppModel>& model, Apply apply);
    // Runs `work`, keeping its value or the text of its failure (`otherwise` for failures
    // that are not a `TesselError`). Defined in model/Background.hpp.
    template <class T, class Work>
    static Outcome<T> capture(Work&& work, const TesselError& otherwise);

    std::optional<SheetRecipe> recipeProperty() const { return recipe_; }
    void setRecipeProperty(const std::optional<SheetRecipe>& recipe) {
        if (recipe) setRecipe(*recipe);
    }
    void setItems(std::vector<ImageItem> items);
    void setSavedLayouts(std::vector<SavedLayout> layouts);
    void setIsLoading(bool loading);
    void setIsRendering(bool rendering);
    void setIsExporting(bool exporting);
    void setPreviewResult(std::optional<SheetPreview> result);
    void setPreviewPage(qint64 page);
    void setLastExportedURLs(std::vector<std::filesystem::path> files);
    void setAvailableUpdate(const std::optional<UpdateInfo>& update);
    void setIsUpdating(bool updating);
    void setIsCheckingForUpdate(bool checking);
    void setPreviewTask(quint64 task);
    void setExportProgress(const std::optional<PageProgress>& progress);
    void setPrintProgress(const std::optional<PageProgress>& progress);
    void setSkippedFiles(std::vector<SkippedFile> files);
    void setPairedRawFiles(std::vector<PairedRawFile> files);

    std::vector<SheetInput> inputs() const;
    void forgetPictures(const std::filesystem::path& file);
    void applySort();
    void mergeAdded(AddedItems added);

    // The preview, in model/Preview.cpp.
    void cancelPreview();
    void startPreviewRender();
    void showPage(qint64 page);
    std::optional<qint64> nextPageToDraw() const;
    bool isDrawn(qint64 page) const;
    void drawNextPage();
    void applyPage(const PageRender& render, Outcome<std::vector<std::uint8_t>> outcome);
    // Pages the preview is about to draw, whose pictures thumbnails wait for.
    bool isPageAboutToBeDrawn(qint64 page) const;

    // Thumbnails, in model/Thumbnails.cpp.
    void scheduleThumbnails();
    void stopThumbnails();
    const ImageItem* nextThumbnail() const;
    void applyThumbnails();

    // Export and printing, in model/Export.cpp.
    void printDocument(QPdfDocument& document, SheetSize pdfPageSize);
    // A render's progress, reported on the main thread to `report` while `task` is still the
    // model's `job`.
    RenderProgress progressOf(std::shared_ptr<RenderCancellation> AppModel::*job,
                              const std::shared_ptr<RenderCancellation>& task,
                              void (AppModel::*report)(const std::optional<PageProgress>&));
    void persistLayouts();
    void startUpdateCheck(bool manual);
    void applyUpdateCheck(bool manual, std::optional<UpdateInfo> update);

    AppServices services_;
    std::filesystem::path layoutsFile_;

    QString version_;
    std::vector<ImageItem> items_;
    QUuid selectedID_;
    SheetRecipe recipe_;
    std::optional<SheetPreset> selectedPreset_;
    std::vector<SavedLayout> savedLayouts_;
    ImageSort sort_ = ImageSort::manual;
    QString baseName_;
    bool isLoading_ = false;
    bool isRendering_ = false;
    bool isExporting_ = false;
    bool isDropTargeted_ = false;
    std::optional<SheetPreview> previewResult_;
    qint64 previewPage_ = 0;
    std::optional<QString> errorMessage_;
    std::vector<std::filesystem::path> lastExportedURLs_;
    std::optional<UpdateInfo> availableUpdate_;
    bool isUpdating_ = false;
    bool isCheckingForUpdate_ = false;
    quint64 previewTask_ = 0;
    std::optional<PageProgress> exportProgress_;
    std::optional<PageProgress> printProgress_;
    std::vector<SkippedFile> skippedFiles_;
    std::vector<PairedRawFile> pairedRawFiles_;
    // The export in flight, and what stops it; not observable.
    std::shared_ptr<RenderCancellation> exportTask_;

    // Batches of added files whose headers are still being read.
    int batchesRunning_ = 0;
    // Set when the application quits; background work looks at it between steps.
    std::shared_ptr<std::atomic<bool>> abandoned_ = std::make_shared<std::atomic<bool>>(false);

    // The preview: the job waiting for the wait to end, the sheet being drawn since, and the
    // one page being drawn of it. Pages that failed are not drawn again until the next change.
    std::optional<PreviewSheet> scheduledPreview_;
    QTimer previewTimer_;
    std::shared_ptr<const PreviewSheet> sheet_;
    std::optional<PageRender> pageRender_;
    std::vector<qint64> failedPages_;
    // Page turns within one turn of the event loop start one render, for the last of them.
    QTimer drawTimer_;

    // Thumbnails made or being made, by item; thumbnails made and not yet in the list; the
    // rows on screen, whose thumbnails come first.
    QSet<QUuid> thumbnailsStarted_;
    int thumbnailsRunning_ = 0;
    QHash<QUuid, QByteArray> thumbnailsMade_;
    std::shared_ptr<RenderCancellation> thumbnailsStop_ = std::make_shared<RenderCancellation>();
    QTimer thumbnailTimer_;
    qint64 firstRowShown_ = 0;
    qint64 lastRowShown_ = 15;

    // The pages drawn for printing, and what stops them.
    std::shared_ptr<RenderCancellation> printTask_;

    // The pictures of the listed images as previews and exports decoded them, kept while the
    // images stay in the list. Shared with the renders, which may outlive a removal.
    std::shared_ptr<PictureCache> pictures_ = std::make_shared<PictureCache>();

    // Last, so that it is destroyed first: the destructor waits for every task in it.
    QThreadPool pool_;
};

}  // namespace tessel::app
