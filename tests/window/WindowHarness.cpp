#include "WindowHarness.hpp"

#include <QApplication>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QTest>
#include <QWindow>

#include "TestImages.hpp"

namespace tessel::test {

WindowHarness::WindowHarness() {
    window_ = std::make_unique<app::MainWindow>(harness.model());
    window_->resize(1400, 900);
    window_->show();
    if (!QTest::qWaitForWindowExposed(window_.get())) throw std::runtime_error("no window");
}

WindowHarness::~WindowHarness() {
    window_.reset();
    QCoreApplication::processEvents();
}

std::vector<std::filesystem::path> WindowHarness::addImages(int count) {
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < count; ++i) {
        files.push_back(harness.path(std::string(1, static_cast<char>('a' + i)) + ".png"));
        writeImage(files.back(), 40 + i, 30);
    }
    harness.add(files);
    settle();
    return files;
}

void click(QWidget* widget) {
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

bool chooseFromOpenMenu(const QString& text) {
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (menu == nullptr) return false;
    for (QAction* action : menu->actions())
        if (action->text() == text) {
            action->trigger();
            menu->close();
            return true;
        }
    return false;
}

std::vector<std::string> titles(const QMenu* menu) {
    std::vector<std::string> out;
    for (const QAction* action : menu->actions())
        out.push_back(action->isSeparator() ? "-" : action->text().toStdString());
    return out;
}

std::string text(const QWidget* widget) {
    if (const auto* label = qobject_cast<const QLabel*>(widget)) return label->text().toStdString();
    if (const auto* button = qobject_cast<const QAbstractButton*>(widget))
        return button->text().toStdString();
    return {};
}

bool hover(QWidget* window, QPoint at, const QMimeData& data) {
    const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
    QDragEnterEvent enter(at, actions, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window->windowHandle(), &enter);
    QDragMoveEvent move(at, actions, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window->windowHandle(), &move);
    return move.isAccepted();
}

bool drop(QWidget* window, QPoint at, const QMimeData& data) {
    QDropEvent dropped(QPointF(at), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window->windowHandle(), &dropped);
    return dropped.isAccepted();
}

void leave(QWidget* window) {
    QDragLeaveEvent left;
    QCoreApplication::sendEvent(window->windowHandle(), &left);
}

QPoint inWindow(const QWidget* widget, QPoint point) {
    return widget->mapTo(widget->window(), point);
}

}  // namespace tessel::test
