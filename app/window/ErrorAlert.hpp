#pragma once
/// The alert that shows `AppModel::errorMessage`: titled "Tessel", the message's first line
/// as its text and the cause after it as the informative text under it, one "OK" button. It does
/// not block: the model keeps working while it is open, a newer message replaces the text of the
/// open alert, and dismissing it in any way clears the message.

#include <QObject>

#include "model/AppModel.hpp"

class QMessageBox;
class QWidget;

namespace tessel::app {

class ErrorAlert final : public QObject {
    Q_OBJECT
public:
    /// An alert modal to `window`, following `model`'s message from now on.
    ErrorAlert(AppModel& model, QWidget* window);

    /// The alert's box (shown or not).
    QMessageBox* box() const { return box_; }

    /// Opens, updates or closes the alert to match the model's message.
    void refresh();

private:
    AppModel& model_;
    QMessageBox* box_;
};

}  // namespace tessel::app
