#include "window/RecipeBinder.hpp"

namespace tessel::app {
namespace {

constexpr int lowestQuality = 45;
constexpr int highestQuality = 100;

int qualityPercent(double quality) {
    if (!std::isfinite(quality)) return highestQuality;
    return static_cast<int>(
        std::clamp<long>(std::lround(quality * 100.0), lowestQuality, highestQuality));
}

std::int64_t wholeNumber(double value) {
    return std::isfinite(value) ? static_cast<std::int64_t>(std::llround(value)) : 0;
}

}  // namespace

SegmentedControl* RecipeBinder::captionAlignment(QWidget* parent) {
    auto* control = segmentedOf<SheetCaptionAlignment>(
        parent,
        [](SheetRecipe& recipe, SheetCaptionAlignment value) { recipe.captionAlignment = value; });
    bind([this, control] {
        control->setCurrentIndex(indexOf(model_.recipe().effectiveCaptionAlignment()));
    });
    return control;
}

QSpinBox* RecipeBinder::stepper(std::int64_t SheetRecipe::*field, int minimum, int maximum,
                                QWidget* parent) {
    auto* box = new QSpinBox(parent);
    box->setRange(minimum, maximum);
    box->setKeyboardTracking(false);
    box->setAlignment(Qt::AlignRight);
    QObject::connect(box, &QSpinBox::valueChanged, box, [this, field](int value) {
        model_.editRecipe([field, value](SheetRecipe& recipe) { recipe.*field = value; });
    });
    bind([this, field, box, minimum, maximum] {
        const QSignalBlocker quiet(box);
        box->setValue(
            static_cast<int>(std::clamp<std::int64_t>(model_.recipe().*field, minimum, maximum)));
    });
    return box;
}

NumberField* RecipeBinder::numberField(const QString& placeholder, int width, QWidget* parent,
                                       std::function<std::int64_t(const SheetRecipe&)> read,
                                       std::function<void(SheetRecipe&, std::int64_t)> write) {
    auto* field = new NumberField(placeholder, width, parent);
    QObject::connect(
        field, &NumberField::submitted, field,
        [this, write = std::move(write)](std::int64_t value) {
            model_.editRecipe([&write, value](SheetRecipe& recipe) { write(recipe, value); });
        });
    auto show = [this, field, read = std::move(read)] { field->showValue(read(model_.recipe())); };
    QObject::connect(field, &NumberField::abandoned, field, show);
    bind(show);
    return field;
}

NumberField* RecipeBinder::integerField(std::int64_t SheetRecipe::*field,
                                        const QString& placeholder, int width, QWidget* parent) {
    return numberField(
        placeholder, width, parent, [field](const SheetRecipe& recipe) { return recipe.*field; },
        [field](SheetRecipe& recipe, std::int64_t value) { recipe.*field = value; });
}

NumberField* RecipeBinder::wholeNumberField(double SheetRecipe::*field, const QString& placeholder,
                                            int width, QWidget* parent) {
    return numberField(
        placeholder, width, parent,
        [field](const SheetRecipe& recipe) { return wholeNumber(recipe.*field); },
        [field](SheetRecipe& recipe, std::int64_t value) {
            recipe.*field = static_cast<double>(value);
        });
}

ColorWell* RecipeBinder::colorWell(SheetColor SheetRecipe::*field, QWidget* parent) {
    auto* well = new ColorWell(parent);
    QObject::connect(well, &ColorWell::picked, well, [this, field](const SheetColor& color) {
        model_.editRecipe([field, color](SheetRecipe& recipe) { recipe.*field = color; });
    });
    bind([this, field, well] { well->setColor(toQColor(model_.recipe().*field)); });
    return well;
}

QSlider* RecipeBinder::qualitySlider(QWidget* parent) {
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setRange(lowestQuality, highestQuality);
    slider->setPageStep(5);
    QObject::connect(slider, &QSlider::valueChanged, slider, [this](int percent) {
        model_.editRecipe([percent](SheetRecipe& recipe) { recipe.jpegQuality = percent / 100.0; });
    });
    bind([this, slider] {
        const QSignalBlocker quiet(slider);
        slider->setValue(qualityPercent(model_.recipe().jpegQuality));
    });
    return slider;
}

QLineEdit* RecipeBinder::textField(std::string SheetRecipe::*field, QWidget* parent) {
    auto* edit = new QLineEdit(parent);
    QObject::connect(edit, &QLineEdit::textEdited, edit, [this, field](const QString& text) {
        model_.editRecipe(
            [field, &text](SheetRecipe& recipe) { recipe.*field = text.toStdString(); });
    });
    bind([this, field, edit] {
        const QString text = QString::fromStdString(model_.recipe().*field);
        if (edit->text() != text) edit->setText(text);
    });
    return edit;
}

QCheckBox* RecipeBinder::checkBox(bool SheetRecipe::*field, const QString& text, QWidget* parent) {
    auto* box = new QCheckBox(text, parent);
    QObject::connect(box, &QCheckBox::clicked, box, [this, field](bool checked) {
        model_.editRecipe([field, checked](SheetRecipe& recipe) { recipe.*field = checked; });
    });
    bind([this, field, box] { box->setChecked(model_.recipe().*field); });
    return box;
}

void RecipeBinder::refresh() const {
    for (const auto& reader : readers_) reader();
}

}  // namespace tessel::app
