#include "window/MainWindow.hpp"

#include <QPainter>
#include <QScreen>
#include <QSplitter>
#include <QToolBar>
#include <QVBoxLayout>

#include "window/ErrorAlert.hpp"
#include "window/FileDrops.hpp"
#include "window/FilesPane.hpp"
#include "window/ImageListView.hpp"
#include "window/Look.hpp"
#include "window/OptionsPane.hpp"
#include "window/PreviewPane.hpp"
#include "window/SaveLayoutDialog.hpp"
#include "window/Symbols.hpp"

namespace tessel::app {
namespace {

struct PaneWidths {
    int minimum;
    int ideal;  // 0: takes the room the others leave
    int maximum;
};
constexpr PaneWidths filesWidths{240, 280, 350};
constexpr PaneWidths previewWidths{500, 0, QWIDGETSIZE_MAX};
constexpr PaneWidths optionsWidths{360, 400, 470};

// Panes divided by hairlines rather than the style's handles.
class HairlineHandle final : public QSplitterHandle {
public:
    using QSplitterHandle::QSplitterHandle;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), look::separator(palette()));
    }
};

class PaneSplitter final : public QSplitter {
public:
    using QSplitter::QSplitter;

protected:
    QSplitterHandle* createHandle() override { return new HairlineHandle(orientation(), this); }
};

void constrain(QWidget* pane, PaneWidths widths) {
    pane->setMinimumWidth(widths.minimum);
    pane->setMaximumWidth(widths.maximum);
}

}  // namespace

MainWindow::MainWindow(AppModel& model, QWidget* parent) : QMainWindow(parent), model_(model) {
    setWindowTitle(QStringLiteral("Tessel"));
    auto* content = new QWidget(this);
    content->setMinimumSize(minimumContentSize);
    files_ = new FilesPane(model_, content);
    preview_ = new PreviewPane(model_, content);
    options_ = new OptionsPane(model_, content);
    constrain(files_, filesWidths);
    constrain(preview_, previewWidths);
    constrain(options_, optionsWidths);

    auto* splitter = new PaneSplitter(Qt::Horizontal, content);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(1);
    splitter->addWidget(files_);
    splitter->addWidget(preview_);
    splitter->addWidget(options_);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({filesWidths.ideal,
                        minimumContentSize.width() - filesWidths.ideal - optionsWidths.ideal,
                        optionsWidths.ideal});
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(splitter);
    setCentralWidget(content);

    auto* drops = new FileDropTarget(model_, content);
    drops->watch(files_->list()->viewport());

    saveLayout_ = new SaveLayoutDialog(model_, this);
    connect(options_, &OptionsPane::saveLayoutRequested, saveLayout_, &SaveLayoutDialog::present);
    alert_ = new ErrorAlert(model_, this);

    makeToolBar();
    resize(sizeHint());  // a window's own first size is capped at two thirds of the screen
    for (auto signal : {&AppModel::itemsChanged, &AppModel::selectedIDChanged})
        connect(&model_, signal, this, &MainWindow::refresh);
    refresh();
}

void MainWindow::makeToolBar() {
    toolBar_ = addToolBar(QStringLiteral("Toolbar"));
    toolBar_->setObjectName(QStringLiteral("toolbar"));
    toolBar_->setMovable(false);
    toolBar_->setFloatable(false);
    toolBar_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolBar_->toggleViewAction()->setEnabled(false);
    addImages_ = toolBar_->addAction(symbolIcon(Symbol::plus), QStringLiteral("Add Images"),
                                     &model_, &AppModel::chooseImages);
    addImages_->setToolTip(QStringLiteral("Add images or folders"));
    reveal_ = toolBar_->addAction(symbolIcon(Symbol::folder), QStringLiteral("Reveal"), &model_,
                                  &AppModel::revealSelected);
}

QSize MainWindow::sizeHint() const {
    const QSize preferred(1360, 900);
    const QSize available = screen() ? screen()->availableSize() : preferred;
    return preferred.boundedTo(available * 0.92).expandedTo(minimumSizeHint());
}

void MainWindow::refresh() { reveal_->setEnabled(model_.selectedItem().has_value()); }

}  // namespace tessel::app
