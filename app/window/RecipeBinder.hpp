#pragma once
/// Binds the option controls to fields of the model's recipe, one helper per kind of control.
/// A bound control shows its field whenever `refresh()` runs and writes a change back with one
/// `AppModel::editRecipe` call (which also tells the model that the recipe changed); the
/// controls keep no value of their own.

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tessel/SheetRecipe.hpp"

#include "model/AppModel.hpp"
#include "window/ColorWell.hpp"
#include "window/NumberField.hpp"
#include "window/SegmentedControl.hpp"
#include "window/Texts.hpp"

namespace tessel::app {

class RecipeBinder {
public:
    explicit RecipeBinder(AppModel& model) : model_(model) {}

    /// A pop-up menu of every case of `E`, titled by display name; a choice is written at once.
    template <class E>
    QComboBox* popUp(E SheetRecipe::*field, QWidget* parent) {
        auto* menu = new QComboBox(parent);
        for (const E value : allCases<E>()) menu->addItem(texts::displayName(value));
        QObject::connect(menu, &QComboBox::activated, menu, [this, field](int index) {
            const E value = allCases<E>()[static_cast<std::size_t>(index)];
            model_.editRecipe([field, value](SheetRecipe& recipe) { recipe.*field = value; });
        });
        bind([this, field, menu] { menu->setCurrentIndex(indexOf(model_.recipe().*field)); });
        return menu;
    }

    /// A segmented control of every case of `E`; a choice is written at once.
    template <class E>
    SegmentedControl* segmented(E SheetRecipe::*field, QWidget* parent) {
        auto* control = segmentedOf<E>(
            parent, [field](SheetRecipe& recipe, E value) { recipe.*field = value; });
        bind([this, field, control] { control->setCurrentIndex(indexOf(model_.recipe().*field)); });
        return control;
    }

    /// The caption alignment: shows the stored alignment, or `center` when none is stored;
    /// a choice stores it (so it is never absent again).
    SegmentedControl* captionAlignment(QWidget* parent);

    /// A stepper from `minimum` to `maximum`; it clamps, and every step is written at once.
    QSpinBox* stepper(std::int64_t SheetRecipe::*field, int minimum, int maximum, QWidget* parent);

    /// A number field, written when submitted (Return). It does not clamp.
    NumberField* integerField(std::int64_t SheetRecipe::*field, const QString& placeholder,
                              int width, QWidget* parent);
    /// The same for a field held as a double and shown without fractional digits.
    NumberField* wholeNumberField(double SheetRecipe::*field, const QString& placeholder, int width,
                                  QWidget* parent);

    /// A colour well; the picked colour (sRGB, white when it cannot be converted) is written.
    ColorWell* colorWell(SheetColor SheetRecipe::*field, QWidget* parent);

    /// The JPEG quality as a slider of whole percentages from 45 to 100, written as it moves.
    QSlider* qualitySlider(QWidget* parent);

    /// A free text field, written on every edit.
    QLineEdit* textField(std::string SheetRecipe::*field, QWidget* parent);

    /// A check box titled `text`; a click is written at once.
    QCheckBox* checkBox(bool SheetRecipe::*field, const QString& text, QWidget* parent);

    /// Shows the model's recipe in every bound control.
    void refresh() const;

private:
    template <class E>
    static int indexOf(E value) {
        const auto cases = allCases<E>();
        return static_cast<int>(std::ranges::find(cases, value) - cases.begin());
    }

    template <class E, class Write>
    SegmentedControl* segmentedOf(QWidget* parent, Write write) {
        QStringList titles;
        for (const E value : allCases<E>()) titles << texts::displayName(value);
        auto* control = new SegmentedControl(titles, parent);
        QObject::connect(control, &SegmentedControl::activated, control, [this, write](int index) {
            const E value = allCases<E>()[static_cast<std::size_t>(index)];
            model_.editRecipe([write, value](SheetRecipe& recipe) { write(recipe, value); });
        });
        return control;
    }

    NumberField* numberField(const QString& placeholder, int width, QWidget* parent,
                             std::function<std::int64_t(const SheetRecipe&)> read,
                             std::function<void(SheetRecipe&, std::int64_t)> write);

    void bind(std::function<void()> reader) { readers_.push_back(std::move(reader)); }

    AppModel& model_;
    std::vector<std::function<void()>> readers_;
};

}  // namespace tessel::app
