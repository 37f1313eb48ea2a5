#pragma once
/// "Save Layout Preset": names the current recipe and saves it as a layout. Its name field and
/// whether it is shown are the window's only state of its own.

#include <QDialog>

#include "model/AppModel.hpp"

class QLineEdit;
class QPushButton;

namespace tessel::app {

class SaveLayoutDialog final : public QDialog {
    Q_OBJECT
public:
    SaveLayoutDialog(AppModel& model, QWidget* parent);

    /// Empties the name field and shows the dialog, modal to its window.
    void present();

    QLineEdit* nameField() const { return name_; }
    QPushButton* saveButton() const { return save_; }
    QPushButton* cancelButton() const { return cancel_; }

    /// "Save": saves the layout under the name as typed (the model trims it), empties the
    /// field and closes.
    void accept() override;

private:
    void refresh();

    AppModel& model_;
    QLineEdit* name_;
    QPushButton* save_;
    QPushButton* cancel_;
};

}  // namespace tessel::app
