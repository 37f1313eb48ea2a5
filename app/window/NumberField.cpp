#include "window/NumberField.hpp"

#include <QIntValidator>
#include <limits>

#include "window/Texts.hpp"

namespace tessel::app {
namespace {

QLocale ungroupedLocale() {
    QLocale locale;
    locale.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
    return locale;
}

}  // namespace

NumberField::NumberField(const QString& placeholder, int width, QWidget* parent)
    : QLineEdit(parent) {
    setPlaceholderText(placeholder);
    setFixedWidth(width);
    setAlignment(Qt::AlignRight);
    auto* validator =
        new QIntValidator(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), this);
    validator->setLocale(ungroupedLocale());
    setValidator(validator);
    // Return always submits; leaving the field submits only what was typed in it.
    connect(this, &QLineEdit::returnPressed, this, &NumberField::submit);
    connect(this, &QLineEdit::editingFinished, this, [this] {
        if (isModified()) submit();
    });
}

void NumberField::showValue(std::int64_t value) {
    if (hasFocus() && isModified()) return;
    const QString text = texts::plainInteger(value);
    if (this->text() != text) setText(text);
}

std::optional<std::int64_t> NumberField::value() const {
    bool ok = false;
    const qlonglong number = ungroupedLocale().toLongLong(text(), &ok);
    if (!ok) return std::nullopt;
    return number;
}

void NumberField::submit() {
    const auto number = value();
    if (!number) return;
    setModified(false);
    emit submitted(*number);
}

void NumberField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);  // submits acceptable text through editingFinished
    if (!hasAcceptableInput()) {
        setModified(false);
        emit abandoned();
    }
}

}  // namespace tessel::app
