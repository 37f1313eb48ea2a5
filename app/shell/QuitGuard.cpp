#include "shell/QuitGuard.hpp"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QTimer>

#include "model/AppModel.hpp"

namespace tessel::app {

QuitGuard::QuitGuard(AppModel* model, Dialogs& dialogs, Quit quit, QObject* parent)
    : QObject(parent), model_(model), dialogs_(dialogs), quit_(std::move(quit)) {
    if (!quit_) quit_ = [] { QCoreApplication::quit(); };
}

bool QuitGuard::shouldQuit() {
    const AppModel* model = model_.data();
    if (quitting_ || model == nullptr || !model->isExporting()) return true;
    const std::optional<int> answer = dialogs_.showAlert(
        {QStringLiteral("Tessel"),
         QStringLiteral("Export is still in progress"),
         QStringLiteral("Wait for the contact sheet to finish before quitting. Your originals "
                        "are unchanged."),
         {QStringLiteral("Continue Export"), QStringLiteral("Quit")}});
    // Only the second button quits; "Continue Export", Return and Escape keep exporting.
    return answer == 1;
}

void QuitGuard::requestQuit() {
    if (shouldQuit()) quitNow();
}

void QuitGuard::quitNow() {
    quitting_ = true;
    quit_();
}

void QuitGuard::guardClosing(QWidget& window) {
    if (window_) window_->removeEventFilter(this);
    window_ = &window;
    window.installEventFilter(this);
}

bool QuitGuard::eventFilter(QObject* watched, QEvent* event) {
    if (watched != window_ || event->type() != QEvent::Close || quitting_) return false;
    if (!shouldQuit()) {
        event->ignore();
        return true;
    }
    quitting_ = true;
    // After the close has finished: quitting closes every window, this one included.
    QTimer::singleShot(0, this, [this] { quit_(); });
    return false;
}

}  // namespace tessel::app
