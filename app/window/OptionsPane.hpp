#pragma once
/// The right pane: every layout and export option in five sections (Page, Grid, Captions,
/// Layout presets, Output) under a header with the "Presets" menu, and below them, not
/// scrolled, the validation message and the actions "Show in Folder", "Print…" and
/// "Export Sheet…".

#include <QWidget>

#include "model/AppModel.hpp"
#include "window/RecipeBinder.hpp"

class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;
class QSpinBox;
class QVBoxLayout;

namespace tessel::app {

class OptionsPane final : public QWidget {
    Q_OBJECT
public:
    explicit OptionsPane(AppModel& model, QWidget* parent = nullptr);

    /// Shows the model: every control's value, the rows that apply, the saved layouts, the
    /// validation message and which actions are possible.
    void refresh();

    // The parts a test or the window looks at.
    QPushButton* presetsButton() const { return presets_; }
    QWidget* customSizeRow() const { return customSizeRow_; }
    QWidget* resolutionRow() const { return resolutionRow_; }
    QLineEdit* title() const { return title_; }
    NumberField* customWidth() const { return customWidth_; }
    NumberField* customHeight() const { return customHeight_; }
    QSpinBox* columns() const { return columns_; }
    QSpinBox* rows() const { return rows_; }
    NumberField* margin() const { return margin_; }
    NumberField* spacing() const { return spacing_; }
    QWidget* alignmentRow() const { return alignmentRow_; }
    QWidget* sizeRow() const { return sizeRow_; }
    QWidget* captionColorRow() const { return captionColorRow_; }
    QWidget* qualityRow() const { return qualityRow_; }
    QSlider* quality() const { return quality_; }
    QLabel* qualityValue() const { return qualityValue_; }
    QLabel* outputNote() const { return outputNote_; }
    QWidget* savedLayouts() const { return savedLayouts_; }
    QLabel* validation() const { return validation_; }
    QPushButton* showInFolder() const { return showInFolder_; }
    QPushButton* print() const { return print_; }
    QPushButton* exportSheet() const { return export_; }
    /// The progress of an export or of the pages drawn for printing, with its "Cancel".
    QWidget* work() const { return work_; }
    QLabel* workLabel() const { return workLabel_; }
    QPushButton* cancelWork() const { return cancelWork_; }

signals:
    /// "Save Current Layout…" was pressed: the window opens the dialog that names it.
    void saveLayoutRequested();

private:
    QWidget* makeHeader(QWidget* parent);
    QWidget* makePageSection(QWidget* parent);
    QWidget* makeGridSection(QWidget* parent);
    QWidget* makeCaptionSection(QWidget* parent);
    QWidget* makeLayoutPresetsSection(QWidget* parent);
    QWidget* makeOutputSection(QWidget* parent);
    QWidget* makeBottomArea();
    void refreshPresetsMenu();
    void refreshSavedLayouts();
    void applySavedLayout(const QString& id);

    AppModel& model_;
    RecipeBinder binder_;
    QPushButton* presets_ = nullptr;
    QWidget* customSizeRow_ = nullptr;
    QWidget* resolutionRow_ = nullptr;
    QLineEdit* title_ = nullptr;
    NumberField* customWidth_ = nullptr;
    NumberField* customHeight_ = nullptr;
    QSpinBox* columns_ = nullptr;
    QSpinBox* rows_ = nullptr;
    NumberField* margin_ = nullptr;
    NumberField* spacing_ = nullptr;
    QWidget* alignmentRow_ = nullptr;
    QWidget* sizeRow_ = nullptr;
    QWidget* captionColorRow_ = nullptr;
    QWidget* qualityRow_ = nullptr;
    QSlider* quality_ = nullptr;
    QLabel* qualityValue_ = nullptr;
    QLabel* outputNote_ = nullptr;
    QWidget* savedLayouts_ = nullptr;
    QLabel* validation_ = nullptr;
    QPushButton* showInFolder_ = nullptr;
    QPushButton* print_ = nullptr;
    QPushButton* export_ = nullptr;
    QWidget* work_ = nullptr;
    QLabel* workLabel_ = nullptr;
    QProgressBar* workBar_ = nullptr;
    QPushButton* cancelWork_ = nullptr;
};

}  // namespace tessel::app
