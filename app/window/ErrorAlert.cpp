#include "window/ErrorAlert.hpp"

#include <QMessageBox>
#include <QPushButton>

namespace tessel::app {

ErrorAlert::ErrorAlert(AppModel& model, QWidget* window)
    : QObject(window), model_(model), box_(new QMessageBox(window)) {
    box_->setWindowTitle(QStringLiteral("Tessel"));
    box_->setIcon(QMessageBox::Warning);
    QPushButton* ok = box_->addButton(QStringLiteral("OK"), QMessageBox::AcceptRole);
    box_->setDefaultButton(ok);
    box_->setEscapeButton(ok);
    // However the alert goes (OK, Escape, closing its window), the message goes with it.
    connect(box_, &QMessageBox::finished, this, [this] { model_.setErrorMessage(std::nullopt); });
    connect(&model_, &AppModel::errorMessageChanged, this, &ErrorAlert::refresh);
    refresh();
}

void ErrorAlert::refresh() {
    const auto& message = model_.errorMessage();
    if (!message) {
        if (box_->isVisible()) box_->done(0);
        return;
    }
    // The headline in the alert's text, the cause under it in the smaller informative text.
    const qsizetype lineBreak = message->indexOf(u'\n');
    box_->setText(lineBreak < 0 ? *message : message->left(lineBreak));
    box_->setInformativeText(lineBreak < 0 ? QString() : message->mid(lineBreak + 1));
    if (!box_->isVisible()) box_->open();
}

}  // namespace tessel::app
