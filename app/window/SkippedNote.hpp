#pragma once
/// The files pane's quiet note about files that the last batch of added files left out
/// ("3 files skipped"): hidden when there are none; a click opens a small popup that names
/// each file and says why.

#include <QToolButton>

#include "model/AppModel.hpp"

class QFrame;

namespace tessel::app {

class SkippedNote final : public QToolButton {
    Q_OBJECT
public:
    explicit SkippedNote(AppModel& model, QWidget* parent = nullptr);

    /// Shows the model's `skippedFiles`: the count, or nothing; closes a popup about an
    /// earlier batch.
    void refresh();

    /// The popup while it is open; nothing otherwise.
    QFrame* popup() const { return popup_; }

private:
    void openPopup();

    AppModel& model_;
    QFrame* popup_ = nullptr;
};

}  // namespace tessel::app
