#include "window/SaveLayoutDialog.hpp"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "window/Look.hpp"

namespace tessel::app {

SaveLayoutDialog::SaveLayoutDialog(AppModel& model, QWidget* parent)
    : QDialog(parent), model_(model) {
    setWindowTitle(QStringLiteral("Save Layout Preset"));
    setModal(true);

    auto* title = new QLabel(QStringLiteral("Save Layout Preset"), this);
    look::setType(title, look::Type::headline);
    auto* message = new QLabel(
        QStringLiteral("Save the current page, grid, caption, and export settings."), this);
    message->setWordWrap(true);
    look::setTone(message, look::Tone::secondary);
    name_ = new QLineEdit(this);
    name_->setPlaceholderText(QStringLiteral("Preset name"));
    name_->setAccessibleName(QStringLiteral("Preset name"));
    name_->setMinimumWidth(300);

    auto* buttons = new QDialogButtonBox(this);
    cancel_ = buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    save_ = buttons->addButton(QStringLiteral("Save"), QDialogButtonBox::AcceptRole);
    save_->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &SaveLayoutDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SaveLayoutDialog::reject);
    connect(name_, &QLineEdit::textChanged, this, &SaveLayoutDialog::refresh);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 18, 20, 16);
    column->setSpacing(8);
    column->addWidget(title);
    column->addWidget(message);
    column->addSpacing(6);
    column->addWidget(name_);
    column->addSpacing(10);
    column->addWidget(buttons);
    setSizeGripEnabled(false);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    refresh();
}

void SaveLayoutDialog::present() {
    name_->clear();
    refresh();
    open();
    name_->setFocus();
}

void SaveLayoutDialog::refresh() { save_->setEnabled(!name_->text().trimmed().isEmpty()); }

void SaveLayoutDialog::accept() {
    if (name_->text().trimmed().isEmpty()) return;
    model_.saveCurrentLayout(name_->text());
    name_->clear();
    QDialog::accept();
}

}  // namespace tessel::app
