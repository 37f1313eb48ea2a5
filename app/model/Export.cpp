// Export, printing and revealing the written files.

#include <QBuffer>
#include <QFile>
#include <QPdfDocument>

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
    exportTask_ = true;
    runInBackground(
        [inputs = inputs(), recipe = recipe_, folder = location->parent_path(), chosenName,
         pictures = pictures_] {
            return capture<std::vector<fs::path>>(
                [&] {
                    // Always rendered afresh: the preview may be older than the recipe. Only
                    // pictures decoded at the export's own sizes are reused, so the files are
                    // the same as without them.
                    const SheetRenderResult result =
                        TesselRenderer::render(inputs, recipe, {.pictures = pictures.get()});
                    return TesselRenderer::write(result, folder, chosenName, recipe);
                },
                TesselError::cannotEncode());
        },
        [](AppModel& model, Outcome<std::vector<fs::path>> outcome) {
            model.setIsExporting(false);
            model.exportTask_ = false;
            if (outcome.value)
                model.setLastExportedURLs(std::move(*outcome.value));
            else
                model.setErrorMessage(outcome.error);  // the earlier files stay listed
        });
}

void AppModel::printSheet() {
    if (!previewResult_) return;
    QByteArray bytes(reinterpret_cast<const char*>(previewResult_->pdf.data()),
                     std::ssize(previewResult_->pdf));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QPdfDocument document;
    document.load(&buffer);
    if (document.status() != QPdfDocument::Status::Ready || document.pageCount() < 1) {
        setErrorMessage(QStringLiteral("The print document could not be created."));
        return;
    }
    // The preview as it stands, even while a newer one renders.
    services_.printing.print(document, recipe_.pdfPageSize());
}

void AppModel::revealOutput() {
    if (!lastExportedURLs_.empty()) services_.fileViewer.showItems(lastExportedURLs_);
}

}  // namespace tessel::app
