// Export, printing and revealing the written files.
//
// Both draw every page of the sheet, with progress and a way to stop. An export puts its
// finished pages into a spool file beside the output rather than in memory, so that a sheet of
// thousands of images exports in the memory of a few; printing does the same when the preview
// does not hold every page.

#include <QBuffer>
#include <QFile>
#include <QPdfDocument>
#include <QTemporaryDir>

#include "tessel/Render.hpp"

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {
namespace {

namespace fs = std::filesystem;

}  // namespace

void AppModel::exportSheet() {
    if (!canExport()) return;
    const QString suffix = QString::fromStdString(recipe_.suffix);
    const QString extension = QString::fromLatin1(fileExtension(recipe_.output));
    const std::optional<fs::path> location = services_.dialogs.chooseSaveLocation(
        {QStringLiteral("Export Contact Sheet"), QStringLiteral("Export"),
         baseName_ + suffix + QLatin1Char('.') + extension});
    if (!location || location->filename().empty()) return;

    // The chosen name is the files' base name, suffix included; the next proposal leaves
    // every occurrence of the suffix out so that it is not repeated.
    const std::string chosenName = location->stem().string();
    QString nextBaseName = QFile::decodeName(chosenName.c_str());
    if (!suffix.isEmpty()) nextBaseName.remove(suffix);
    setBaseName(nextBaseName);

    setIsExporting(true);
    const auto task = std::make_shared<RenderCancellation>();
    exportTask_ = task;
    setExportProgress(PageProgress{0, pageCount()});
    const RenderProgress progress =
        progressOf(&AppModel::exportTask_, task, &AppModel::setExportProgress);
    runInBackground(
        [inputs = inputs(), recipe = recipe_, folder = location->parent_path(), chosenName,
         pictures = pictures_, task, progress] {
            return capture<std::vector<fs::path>>(
                [&] {
                    // Always drawn afresh: the preview may be older than the recipe, and holds
                    // a few pages at most. Only pictures decoded at the export's own sizes are
                    // reused, so the files are the same as without them.
                    const SpooledSheet sheet =
                        TesselRenderer::renderSpooled(inputs, recipe, folder,
                                                      {.pictures = pictures.get(),
                                                       .cancellation = task.get(),
                                                       .progress = progress});
                    if (task->isCancelled()) throw RenderCancelled();
                    return TesselRenderer::write(sheet, folder, chosenName, recipe);
                },
                TesselError::cannotEncode());
        },
        [](AppModel& model, Outcome<std::vector<fs::path>> outcome) {
            model.exportTask_.reset();
            model.setExportProgress(std::nullopt);
            model.setIsExporting(false);
            if (outcome.value)
                model.setLastExportedURLs(std::move(*outcome.value));
            else if (!outcome.cancelled)
                model.setErrorMessage(outcome.error);  // the earlier files stay listed
        });
}

void AppModel::cancelExport() {
    // The export ends, and says so, once its render has stopped.
    if (exportTask_) exportTask_->cancel();
}

void AppModel::printSheet() {
    if (!previewResult_ || printTask_) return;
    const SheetPreview& preview = *previewResult_;
    // The document is titled as an export of it would be.
    SheetRecipe printed = preview.sheet->recipe;
    printed.output = SheetOutputFormat::pdf;
    if (printed.trimmedTitle().empty()) printed.title = baseName_.toStdString();
    if (preview.holdsEveryPage()) {
        // The preview as it stands, at the size its pages were drawn for, even while a newer
        // one is drawn.
        std::vector<std::vector<std::uint8_t>> pages;
        for (const auto& page : preview.pages) pages.push_back(page.second);
        std::vector<std::uint8_t> pdf;
        try {
            pdf = TesselRenderer::makePDF(pages, preview.pdfPageSize, printed.title);
        } catch (const TesselError&) {
        }
        QByteArray bytes(reinterpret_cast<const char*>(pdf.data()), std::ssize(pdf));
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        QPdfDocument document;
        document.load(&buffer);
        printDocument(document, preview.pdfPageSize);
        return;
    }

    // The pages the preview does not hold are drawn first, from the same sheet, into a PDF
    // file in a folder of its own that goes once the document is printed.
    const auto task = std::make_shared<RenderCancellation>();
    printTask_ = task;
    setPrintProgress(PageProgress{0, preview.pageCount});
    const RenderProgress progress =
        progressOf(&AppModel::printTask_, task, &AppModel::setPrintProgress);
    runInBackground(
        [sheet = preview.sheet, printed, pictures = pictures_, task, progress] {
            auto folder = std::make_shared<QTemporaryDir>();
            auto outcome = capture<fs::path>(
                [&] {
                    if (!folder->isValid())
                        throw TesselError::cannotEncode().withCause(
                            folder->errorString().toStdString() + ".");
                    const fs::path where = QFile::encodeName(folder->path()).toStdString();
                    const SpooledSheet pages =
                        TesselRenderer::renderSpooled(sheet->inputs, sheet->recipe, where,
                                                      {.pictures = pictures.get(),
                                                       .reuse = CachedPictures::nearest,
                                                       .cancellation = task.get(),
                                                       .progress = progress,
                                                       .madeAt = sheet->madeAt});
                    if (task->isCancelled()) throw RenderCancelled();
                    return TesselRenderer::write(pages, where, "Print", printed).front();
                },
                TesselError::cannotCreateContext());
            return std::make_tuple(std::move(folder), std::move(outcome), task,
                                   sheet->recipe.pdfPageSize());
        },
        [](AppModel& model, auto finished) {
            auto& [folder, outcome, job, size] = finished;
            if (model.printTask_ != job) return;  // cancelled
            model.printTask_.reset();
            model.setPrintProgress(std::nullopt);
            if (outcome.value) {
                QPdfDocument document;
                document.load(QFile::decodeName(outcome.value->c_str()));
                model.printDocument(document, size);
            } else if (!outcome.cancelled) {
                model.setErrorMessage(outcome.error);
            }
        });
}

void AppModel::cancelPrint() {
    if (!printTask_) return;
    printTask_->cancel();
    printTask_.reset();
    setPrintProgress(std::nullopt);
}

void AppModel::printDocument(QPdfDocument& document, SheetSize pdfPageSize) {
    if (document.status() != QPdfDocument::Status::Ready || document.pageCount() < 1) {
        setErrorMessage(QStringLiteral("The print document could not be created."));
        return;
    }
    services_.printing.print(document, pdfPageSize);
}

RenderProgress AppModel::progressOf(std::shared_ptr<RenderCancellation> AppModel::*job,
                                    const std::shared_ptr<RenderCancellation>& task,
                                    void (AppModel::*report)(const std::optional<PageProgress>&)) {
    return [model = QPointer<AppModel>(this), job, task, report](std::int64_t done,
                                                                 std::int64_t total) {
        applyLater(model, [=](AppModel& alive) {
            if (alive.*job == task) (alive.*report)(PageProgress{done, total});
        });
    };
}

void AppModel::revealOutput() {
    if (!lastExportedURLs_.empty()) services_.fileViewer.showItems(lastExportedURLs_);
}

}  // namespace tessel::app
