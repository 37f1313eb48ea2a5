#include "shell/Menus.hpp"

#include <QDesktopServices>
#include <QMenu>
#include <QMenuBar>

#include "tessel/SheetTypes.hpp"

#include "model/AppModel.hpp"

namespace tessel::app {

Menus::Menus(QMainWindow& window, AppModel& model, Commands commands)
    : QObject(&window), model_(model), commands_(std::move(commands)) {
    if (!commands_.openURL)
        commands_.openURL = [](const QUrl& url) { QDesktopServices::openUrl(url); };
    QMenuBar& bar = *window.menuBar();

    QMenu& file = *bar.addMenu(QStringLiteral("&File"));
    add(file, QStringLiteral("Add Images or Folders…"), QKeySequence(Qt::CTRL | Qt::Key_O),
        [this] { model_.chooseImages(); });
    removeSelected_ =
        add(file, QStringLiteral("Remove Selected"), {}, [this] { model_.removeSelected(); });
    // Active only where the image list has the focus (see bindRemoveKeys): in a text field
    // these keys edit text.
    removeSelected_->setShortcuts({QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)});
    removeSelected_->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    removeAll_ = add(file, QStringLiteral("Remove All"), {}, [this] { model_.removeAll(); });
    file.addSeparator();
    exportSheet_ = add(file, QStringLiteral("Export Sheet…"), QKeySequence(Qt::CTRL | Qt::Key_E),
                       [this] { model_.exportSheet(); });
    print_ = add(file, QStringLiteral("Print…"), QKeySequence(Qt::CTRL | Qt::Key_P),
                 [this] { model_.printSheet(); });
    file.addSeparator();
    QAction* settings =
        add(file, QStringLiteral("Settings…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), [this] {
            if (commands_.showSettings) commands_.showSettings();
        });
    settings->setShortcutContext(Qt::ApplicationShortcut);
    file.addSeparator();
    QAction* quit = add(file, QStringLiteral("Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), [this] {
        if (commands_.quit) commands_.quit();
    });
    quit->setShortcutContext(Qt::ApplicationShortcut);

    QMenu& layout = *bar.addMenu(QStringLiteral("&Layout"));
    for (const SheetPreset preset : allCases<SheetPreset>())
        add(layout, QString::fromUtf8(name(preset)), {},
            [this, preset] { model_.applyPreset(preset); });
    layout.addSeparator();
    add(layout, QStringLiteral("Move Selected Up"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Up),
        [this] { model_.moveSelected(-1); });
    add(layout, QStringLiteral("Move Selected Down"),
        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Down), [this] { model_.moveSelected(+1); });

    // The application menu's items come first, About and then the two update items after it,
    // then the Help menu's own.
    QMenu& help = *bar.addMenu(QStringLiteral("&Help"));
    add(help, QStringLiteral("About Tessel"), {}, [this] {
        if (commands_.showSettings) commands_.showSettings();
    });
    updateTo_ = add(help, QString(), {}, [this] { model_.promptForUpdate(); });
    add(help, QStringLiteral("Check for Updates…"), {},
        [this] { model_.checkForUpdatesManually(); });
    help.addSeparator();
    add(help, QStringLiteral("Tessel Feedback…"), {},
        [this] { commands_.openURL(model_.feedbackURL()); });

    for (auto signal :
         {&AppModel::itemsChanged, &AppModel::selectedIDChanged, &AppModel::recipeValueChanged,
          &AppModel::isLoadingChanged, &AppModel::isRenderingChanged, &AppModel::isExportingChanged,
          &AppModel::previewResultChanged, &AppModel::printProgressChanged,
          &AppModel::availableUpdateChanged})
        connect(&model_, signal, this, &Menus::refresh);
    refresh();
}

void Menus::bindRemoveKeys(QWidget& imageList) { imageList.addAction(removeSelected_); }

QAction* Menus::add(QMenu& menu, const QString& title, const QKeySequence& shortcut,
                    const std::function<void()>& action) {
    QAction* item = menu.addAction(title);
    item->setShortcut(shortcut);
    connect(item, &QAction::triggered, this, action);
    return item;
}

void Menus::refresh() {
    removeSelected_->setEnabled(model_.selectedItem().has_value());
    removeAll_->setEnabled(!model_.items().empty());
    exportSheet_->setEnabled(model_.canExport());
    print_->setEnabled(model_.previewResult().has_value() && !model_.printProgress());
    const std::optional<UpdateInfo>& update = model_.availableUpdate();
    updateTo_->setVisible(update.has_value());
    updateTo_->setText(
        update ? QStringLiteral("Update to %1…").arg(QString::fromStdString(update->version))
               : QString());
}

}  // namespace tessel::app
