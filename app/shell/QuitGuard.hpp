#pragma once
/// The quit guard: quitting (the Quit command, or closing the main window) while an export
/// runs asks first, "Export is still in progress", with "Continue Export" as the default and
/// "Quit". An update handed over to its installer quits without asking.

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <functional>

#include "model/AppModel.hpp"
#include "services/Dialogs.hpp"

namespace tessel::app {

class QuitGuard final : public QObject {
    Q_OBJECT
public:
    /// Ends the application; `QCoreApplication::quit` unless a test gives its own.
    using Quit = std::function<void()>;

    /// Asks through `dialogs` about `model` (held weakly; without a model it never asks).
    QuitGuard(AppModel* model, Dialogs& dialogs, Quit quit = {}, QObject* parent = nullptr);

    /// The guard's question. True at once while no export runs; during an export, true only
    /// when the user chooses "Quit" in the alert.
    bool shouldQuit();

    /// The Quit command: quits when `shouldQuit` agrees.
    void requestQuit();

    /// Quits without asking (the installer has taken over and waits for this process to end).
    void quitNow();

    /// Passes every close of `window` through the guard. A refused close leaves the window
    /// open; an agreed one closes it and quits the application, whatever other windows are open.
    void guardClosing(QWidget& window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPointer<AppModel> model_;
    Dialogs& dialogs_;
    Quit quit_;
    QPointer<QWidget> window_;
    bool quitting_ = false;  // agreed once: the closes that quitting itself causes pass
};

}  // namespace tessel::app
