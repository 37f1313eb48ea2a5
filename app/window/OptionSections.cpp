// The five sections of the options pane, each control bound to its recipe field.

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>

#include "tessel/RecipeLimits.hpp"

#include "window/Look.hpp"
#include "window/OptionRows.hpp"
#include "window/OptionsPane.hpp"
#include "window/Symbols.hpp"

namespace tessel::app {
namespace {

constexpr int popUpWidth = 180;
constexpr int pixelFieldWidth = 72;
constexpr int sizeFieldWidth = 64;
constexpr int stepperWidth = 72;
constexpr int qualityValueWidth = 40;

template <class Control>
Control* sized(Control* control, int width) {
    control->setFixedWidth(width);
    return control;
}

// A layout's name as a link that applies it.
QPushButton* linkButton(const QString& text, QWidget* parent) {
    auto* button = new QPushButton(text, parent);
    button->setFlat(true);
    button->setCursor(Qt::PointingHandCursor);
    look::followPalette(button, [button] {
        QPalette palette = button->palette();
        palette.setColor(QPalette::ButtonText, QApplication::palette().color(QPalette::Link));
        button->setPalette(palette);
    });
    return button;
}

}  // namespace

QWidget* OptionsPane::makePageSection(QWidget* parent) {
    auto* section = new OptionSection(QStringLiteral("Page"), parent);
    section->addRow(QStringLiteral("Paper"),
                    {sized(binder_.popUp(&SheetRecipe::paper, section), popUpWidth)});
    resolutionRow_ =
        section->addRow(QStringLiteral("Resolution"),
                        {sized(binder_.popUp(&SheetRecipe::resolution, section), popUpWidth)});
    section->addRow(QStringLiteral("Orientation"),
                    {binder_.segmented(&SheetRecipe::orientation, section)});
    customWidth_ = binder_.integerField(&SheetRecipe::customWidth, QStringLiteral("Width"),
                                        pixelFieldWidth, section);
    customHeight_ = binder_.integerField(&SheetRecipe::customHeight, QStringLiteral("Height"),
                                         pixelFieldWidth, section);
    customWidth_->setAccessibleName(QStringLiteral("Width"));
    customHeight_->setAccessibleName(QStringLiteral("Height"));
    customSizeRow_ =
        section->addRow(QString(), {customWidth_, unitLabel(QStringLiteral("×"), section),
                                    customHeight_, unitLabel(QStringLiteral("px"), section)});
    section->addRow(QStringLiteral("Background"),
                    {binder_.colorWell(&SheetRecipe::background, section)});
    return section;
}

QWidget* OptionsPane::makeGridSection(QWidget* parent) {
    auto* section = new OptionSection(QStringLiteral("Grid"), parent);
    // The recipe's own range: a saved layout of twenty columns shows twenty.
    constexpr int largestGrid = static_cast<int>(RecipeLimits::largestGrid);
    columns_ = sized(binder_.stepper(&SheetRecipe::columns, 1, largestGrid, section), stepperWidth);
    rows_ = sized(binder_.stepper(&SheetRecipe::rows, 1, largestGrid, section), stepperWidth);
    margin_ = binder_.integerField(&SheetRecipe::margin, QStringLiteral("Pixels"), pixelFieldWidth,
                                   section);
    spacing_ = binder_.integerField(&SheetRecipe::spacing, QStringLiteral("Pixels"),
                                    pixelFieldWidth, section);
    section->addRow(QStringLiteral("Columns"), {columns_});
    section->addRow(QStringLiteral("Rows"), {rows_});
    section->addRow(QStringLiteral("Margin"), {margin_, unitLabel(QStringLiteral("px"), section)});
    section->addRow(QStringLiteral("Spacing"),
                    {spacing_, unitLabel(QStringLiteral("px"), section)});
    section->addRow(QStringLiteral("Images"), {binder_.segmented(&SheetRecipe::fit, section)});
    return section;
}

QWidget* OptionsPane::makeCaptionSection(QWidget* parent) {
    auto* section = new OptionSection(QStringLiteral("Captions"), parent);
    section->addRow(QStringLiteral("Show"),
                    {sized(binder_.popUp(&SheetRecipe::caption, section), popUpWidth)});
    alignmentRow_ =
        section->addRow(QStringLiteral("Alignment"), {binder_.captionAlignment(section)});
    sizeRow_ =
        section->addRow(QStringLiteral("Size"),
                        {binder_.wholeNumberField(&SheetRecipe::captionFontSize,
                                                  QStringLiteral("Size"), sizeFieldWidth, section),
                         unitLabel(QStringLiteral("pt"), section)});
    captionColorRow_ = section->addRow(QStringLiteral("Color"),
                                       {binder_.colorWell(&SheetRecipe::captionColor, section)});
    // Set in the captions' font, size and colour, in the page's top and bottom margins.
    title_ = sized(binder_.textField(&SheetRecipe::title, section), popUpWidth);
    title_->setPlaceholderText(QStringLiteral("None"));
    section->addRow(QStringLiteral("Page title"), {title_});
    section->addRow(QString(),
                    {binder_.checkBox(&SheetRecipe::pageNumbers,
                                      QStringLiteral("Page numbers and date"), section)});
    return section;
}

QWidget* OptionsPane::makeLayoutPresetsSection(QWidget* parent) {
    auto* section = new OptionSection(QStringLiteral("Layout presets"), parent);
    auto* save = new QPushButton(symbolIcon(Symbol::plusCircle),
                                 QStringLiteral("Save Current Layout…"), section);
    connect(save, &QPushButton::clicked, this, &OptionsPane::saveLayoutRequested);
    auto* saveRow = new QHBoxLayout;
    saveRow->addWidget(save);
    saveRow->addStretch(1);
    auto* holder = new QWidget(section);
    holder->setLayout(saveRow);
    saveRow->setContentsMargins(0, 0, 0, 0);
    section->addWidget(holder);

    savedLayouts_ = new QWidget(section);
    auto* list = new QVBoxLayout(savedLayouts_);
    list->setContentsMargins(0, 0, 0, 0);
    list->setSpacing(2);
    section->addWidget(savedLayouts_);
    return section;
}

QWidget* OptionsPane::makeOutputSection(QWidget* parent) {
    auto* section = new OptionSection(QStringLiteral("Output"), parent);
    section->addRow(QStringLiteral("Format"),
                    {sized(binder_.popUp(&SheetRecipe::output, section), popUpWidth)});
    quality_ = binder_.qualitySlider(section);
    quality_->setMinimumWidth(popUpWidth - qualityValueWidth - 6);
    qualityValue_ = new QLabel(section);
    qualityValue_->setMinimumWidth(qualityValueWidth);
    qualityValue_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    qualityRow_ = section->addRow(QStringLiteral("Quality"), {quality_, qualityValue_});
    section->addRow(QStringLiteral("Filename suffix"),
                    {sized(binder_.textField(&SheetRecipe::suffix, section), popUpWidth)});
    outputNote_ = new QLabel(section);
    outputNote_->setWordWrap(true);
    look::setType(outputNote_, look::Type::caption);
    look::setTone(outputNote_, look::Tone::secondary);
    section->addWidget(outputNote_);
    return section;
}

void OptionsPane::refreshSavedLayouts() {
    const QString signature = layoutsSignature(model_.savedLayouts());
    if (savedLayouts_->property("layouts").toString() == signature) return;
    savedLayouts_->setProperty("layouts", signature);

    // A row may be the one whose button is being pressed: it goes once that press is over.
    for (QWidget* row : savedLayouts_->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        row->hide();
        row->deleteLater();
    }
    for (const SavedLayout& layout : model_.savedLayouts()) {
        const QString id = QString::fromStdString(layout.id);
        const QString name = QString::fromStdString(layout.name);
        auto* row = new QWidget(savedLayouts_);
        auto* line = new QHBoxLayout(row);
        line->setContentsMargins(0, 0, 0, 0);
        auto* apply = linkButton(name, row);
        apply->setToolTip(QStringLiteral("Apply “%1”").arg(name));
        auto* remove = symbolButton(Symbol::trash, QStringLiteral("Delete %1").arg(name), row,
                                    look::Tone::secondary);
        line->addWidget(apply);
        line->addStretch(1);
        line->addWidget(remove);
        savedLayouts_->layout()->addWidget(row);
        row->show();
        connect(apply, &QPushButton::clicked, this, [this, id] { applySavedLayout(id); });
        connect(remove, &QToolButton::clicked, this, [this, id] {
            const auto& layouts = model_.savedLayouts();
            const auto found = std::ranges::find(layouts, id.toStdString(), &SavedLayout::id);
            if (found == layouts.end()) return;
            model_.deleteLayout(SavedLayout(*found));  // a copy: the list changes under the call
        });
    }
}

}  // namespace tessel::app
