#include "services/WidgetDialogs.hpp"

#include <QAbstractItemView>
#include <QFile>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>
#include <string_view>

#include "tessel/Inspection.hpp"

namespace tessel::app {
namespace {

namespace fs = std::filesystem;

fs::path localPath(const QString& path) { return fs::path(QFile::encodeName(path).toStdString()); }

// "Images (*.heic *.HEIC ... *.x3f *.X3F)": every extension Tessel reads, camera RAW formats
// included, in both cases, since the dialog compares names as the file system does.
QString imagesFilter() {
    QStringList patterns;
    for (const std::string_view extension : TesselRenderer::supportedExtensions) {
        const QString name = QString::fromLatin1(extension.data(), std::ssize(extension));
        patterns << QStringLiteral("*.") + name << QStringLiteral("*.") + name.toUpper();
    }
    return QStringLiteral("Images (%1)").arg(patterns.join(u' '));
}

// QFileDialog picks either files or folders. In its own (non-native) form showing files and
// folders, the selection of its views is taken as it is: files and folders together.
class FilesAndFoldersDialog final : public QFileDialog {
public:
    FilesAndFoldersDialog(QWidget* parent, const OpenPanel& panel) : QFileDialog(parent) {
        setWindowTitle(panel.message);
        setOption(QFileDialog::DontUseNativeDialog);
        setFileMode(QFileDialog::Directory);
        setNameFilters({imagesFilter(), QStringLiteral("All Files (*)")});
        setLabelText(QFileDialog::Accept, panel.prompt);
        for (QAbstractItemView* view : findChildren<QAbstractItemView*>()) {
            if (view->objectName() != QLatin1String("listView") &&
                view->objectName() != QLatin1String("treeView"))
                continue;
            view->setSelectionMode(QAbstractItemView::ExtendedSelection);
            views_.push_back(view);
        }
    }

    /// The files and folders chosen, in the order they are listed.
    const std::vector<fs::path>& chosen() const { return chosen_; }

    void accept() override {
        chosen_.clear();
        for (QAbstractItemView* view : views_) {
            if (!view->isVisible() || view->selectionModel() == nullptr) continue;
            QModelIndexList rows = view->selectionModel()->selectedRows();
            std::ranges::sort(rows, {}, &QModelIndex::row);
            for (const QModelIndex& row : rows)
                chosen_.push_back(localPath(row.data(QFileSystemModel::FilePathRole).toString()));
        }
        // Nothing picked in the list: a typed name, or the folder being shown.
        if (chosen_.empty())
            for (const QString& file : selectedFiles()) chosen_.push_back(localPath(file));
        // QFileDialog's own accept would turn files away in Directory mode.
        QDialog::accept();  // NOLINT(bugprone-parent-virtual-call)
    }

private:
    std::vector<QAbstractItemView*> views_;
    std::vector<fs::path> chosen_;
};

}  // namespace

std::vector<fs::path> WidgetDialogs::chooseFilesAndFolders(const OpenPanel& panel) {
    FilesAndFoldersDialog dialog(window_, panel);
    if (dialog.exec() != QDialog::Accepted) return {};
    return dialog.chosen();
}

std::optional<fs::path> WidgetDialogs::chooseSaveLocation(const SavePanel& panel) {
    QFileDialog dialog(window_, panel.title);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setLabelText(QFileDialog::Accept, panel.prompt);
    dialog.selectFile(panel.proposedName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return localPath(dialog.selectedFiles().constFirst());
}

std::optional<int> WidgetDialogs::showAlert(const Alert& alert) {
    QMessageBox box(window_);
    box.setWindowTitle(alert.title);
    box.setText(alert.text);
    box.setInformativeText(alert.informativeText);
    // One role for every button keeps them in the alert's order on every desktop's layout.
    std::vector<QPushButton*> buttons;
    for (const QString& title : alert.buttons)
        buttons.push_back(box.addButton(title, QMessageBox::ActionRole));
    if (!buttons.empty()) box.setDefaultButton(buttons.front());
    if (buttons.size() == 1) box.setEscapeButton(buttons.front());
    box.exec();
    const auto clicked = std::ranges::find(buttons, box.clickedButton());
    if (clicked == buttons.end()) return std::nullopt;
    return static_cast<int>(clicked - buttons.begin());
}

}  // namespace tessel::app
