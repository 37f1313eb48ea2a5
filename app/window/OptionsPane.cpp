#include "window/OptionsPane.hpp"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSlider>
#include <QVBoxLayout>

#include "window/Look.hpp"
#include "window/OptionRows.hpp"
#include "window/ProminentButton.hpp"
#include "window/Symbols.hpp"
#include "window/Texts.hpp"

namespace tessel::app {
namespace {

constexpr int contentInset = 24;
constexpr int sectionSpacing = 24;
constexpr int bottomInset = 18;
constexpr int bottomSpacing = 10;

}  // namespace

OptionsPane::OptionsPane(AppModel& model, QWidget* parent)
    : QWidget(parent), model_(model), binder_(model) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(contentInset, contentInset, contentInset, contentInset);
    column->setSpacing(sectionSpacing);
    column->addWidget(makeHeader(content));
    column->addWidget(makePageSection(content));
    column->addWidget(makeGridSection(content));
    column->addWidget(makeCaptionSection(content));
    column->addWidget(makeLayoutPresetsSection(content));
    column->addWidget(makeOutputSection(content));
    column->addStretch(1);

    auto* scroll = new QScrollArea(this);
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);  // Tab goes to the controls; it scrolls to each

    auto* pane = new QVBoxLayout(this);
    pane->setContentsMargins(0, 0, 0, 0);
    pane->setSpacing(0);
    pane->addWidget(scroll, 1);
    pane->addWidget(new look::Separator(Qt::Horizontal, this));
    pane->addWidget(makeBottomArea());

    for (auto signal :
         {&AppModel::recipeValueChanged, &AppModel::savedLayoutsChanged, &AppModel::itemsChanged,
          &AppModel::isLoadingChanged, &AppModel::isRenderingChanged, &AppModel::isExportingChanged,
          &AppModel::previewResultChanged, &AppModel::lastExportedURLsChanged,
          &AppModel::exportProgressChanged, &AppModel::printProgressChanged})
        connect(&model_, signal, this, &OptionsPane::refresh);
    refresh();
}

QWidget* OptionsPane::makeHeader(QWidget* parent) {
    auto* header = new QWidget(parent);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    row->addWidget(new SymbolLabel(Symbol::grid, 18, look::Tone::primary, header));
    auto* title = new QLabel(QStringLiteral("Layout"), header);
    look::setType(title, look::Type::headline);
    row->addWidget(title);
    row->addStretch(1);

    presets_ = new QPushButton(QStringLiteral("Presets"), header);
    presets_->setMenu(new QMenu(presets_));
    row->addWidget(presets_);
    return header;
}

QWidget* OptionsPane::makeBottomArea() {
    auto* area = new QWidget(this);
    auto* column = new QVBoxLayout(area);
    column->setContentsMargins(bottomInset, bottomInset, bottomInset, bottomInset);
    column->setSpacing(bottomSpacing);

    validation_ = new QLabel(area);
    validation_->setWordWrap(true);
    look::setType(validation_, look::Type::caption);
    look::followPalette(validation_, [this] {
        QPalette palette = validation_->palette();
        palette.setColor(QPalette::WindowText, look::validationRed(QApplication::palette()));
        validation_->setPalette(palette);
    });
    column->addWidget(validation_);

    // An export, or the pages drawn for printing: how far it is, and a way to stop it.
    work_ = new QWidget(area);
    auto* work = new QHBoxLayout(work_);
    work->setContentsMargins(0, 0, 0, 0);
    work->setSpacing(8);
    auto* workColumn = new QVBoxLayout;
    workColumn->setSpacing(4);
    workLabel_ = new QLabel(work_);
    look::setType(workLabel_, look::Type::caption);
    look::setTone(workLabel_, look::Tone::secondary);
    workBar_ = new QProgressBar(work_);
    workBar_->setTextVisible(false);
    workBar_->setMaximumHeight(6);
    workColumn->addWidget(workLabel_);
    workColumn->addWidget(workBar_);
    work->addLayout(workColumn, 1);
    cancelWork_ = new QPushButton(QStringLiteral("Cancel"), work_);
    work->addWidget(cancelWork_);
    column->addWidget(work_);
    connect(cancelWork_, &QPushButton::clicked, &model_, [this] {
        if (model_.printProgress()) model_.cancelPrint();
        if (model_.exportProgress()) model_.cancelExport();
    });

    auto* actions = new QHBoxLayout;
    actions->setSpacing(8);
    showInFolder_ = new QPushButton(QStringLiteral("Show in Folder"), area);
    print_ = new QPushButton(symbolIcon(Symbol::printer), QStringLiteral("Print…"), area);
    export_ = new ProminentButton(symbolIcon(Symbol::save), QStringLiteral("Export Sheet…"), area);
    actions->addWidget(showInFolder_);
    actions->addStretch(1);
    actions->addWidget(print_);
    actions->addWidget(export_);
    column->addLayout(actions);

    connect(showInFolder_, &QPushButton::clicked, &model_, &AppModel::revealOutput);
    connect(print_, &QPushButton::clicked, &model_, &AppModel::printSheet);
    connect(export_, &QPushButton::clicked, &model_, &AppModel::exportSheet);
    return area;
}

void OptionsPane::refresh() {
    binder_.refresh();
    const SheetRecipe& recipe = model_.recipe();
    const bool captions = recipe.caption != SheetCaption::none;
    // The title and page numbers are set in the captions' size and colour.
    const bool text = captions || !recipe.trimmedTitle().empty() || recipe.pageNumbers;
    customSizeRow_->setVisible(recipe.paper == SheetPaper::custom);
    // Only paper has inches; pixel canvases are drawn at their own size.
    resolutionRow_->setVisible(recipe.pixelsPerInch().has_value());
    alignmentRow_->setVisible(captions);
    sizeRow_->setVisible(text);
    captionColorRow_->setVisible(text);
    qualityRow_->setVisible(recipe.output == SheetOutputFormat::jpeg);
    qualityValue_->setText(texts::percent(recipe.jpegQuality));
    outputNote_->setText(
        recipe.output == SheetOutputFormat::pdf
            ? QStringLiteral("All pages are saved in one PDF.")
            : QStringLiteral("Multi-page layouts are saved as numbered image files."));
    refreshPresetsMenu();
    refreshSavedLayouts();

    const auto message = model_.validationMessage();
    validation_->setText(message.value_or(QString()));
    validation_->setVisible(message.has_value());
    showInFolder_->setVisible(!model_.lastExportedURLs().empty());
    print_->setEnabled(model_.previewResult().has_value() && !model_.printProgress());
    export_->setEnabled(model_.canExport());

    const auto exporting = model_.exportProgress();
    const auto printing = model_.printProgress();
    work_->setVisible(exporting || printing);
    if (const auto progress = exporting ? exporting : printing) {
        workLabel_->setText(exporting ? texts::exportProgress(progress->done, progress->total)
                                      : texts::printProgress(progress->done, progress->total));
        workBar_->setRange(0, static_cast<int>(std::max<qint64>(progress->total, 1)));
        workBar_->setValue(static_cast<int>(progress->done));
    }
}

void OptionsPane::refreshPresetsMenu() {
    QMenu* menu = presets_->menu();
    const QString signature = layoutsSignature(model_.savedLayouts());
    if (!menu->isEmpty() && menu->property("layouts").toString() == signature) return;
    menu->clear();
    menu->setProperty("layouts", signature);
    for (const SheetPreset preset : allCases<SheetPreset>())
        menu->addAction(texts::displayName(preset), this,
                        [this, preset] { model_.applyPreset(preset); });
    if (model_.savedLayouts().empty()) return;
    menu->addSeparator();
    for (const SavedLayout& layout : model_.savedLayouts()) {
        const QString id = QString::fromStdString(layout.id);
        menu->addAction(QString::fromStdString(layout.name), this,
                        [this, id] { applySavedLayout(id); });
    }
}

void OptionsPane::applySavedLayout(const QString& id) {
    const auto& layouts = model_.savedLayouts();
    const auto found = std::ranges::find(layouts, id.toStdString(), &SavedLayout::id);
    if (found != layouts.end()) model_.applyLayout(*found);
}

}  // namespace tessel::app
