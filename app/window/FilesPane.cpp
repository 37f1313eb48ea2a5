#include "window/FilesPane.hpp"

#include <QActionGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <numeric>

#include "window/EmptyState.hpp"
#include "window/ImageListView.hpp"
#include "window/Look.hpp"
#include "window/SkippedNote.hpp"
#include "window/Symbols.hpp"
#include "window/Texts.hpp"

namespace tessel::app {
namespace {

constexpr int headerInset = 16;
constexpr int footerInset = 14;

}  // namespace

FilesPane::FilesPane(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    look::setBackground(this, QPalette::Base);
    QWidget* header = makeHeader();  // first, so that Tab reaches it before the list
    empty_ = new EmptyState(
        Symbol::photo, QStringLiteral("Drop images here"),
        QStringLiteral("Add individual images or whole folders. Originals are never changed."),
        this);
    connect(empty_->addButton(QStringLiteral("Choose Images…")), &QPushButton::clicked, &model_,
            &AppModel::chooseImages);
    body_ = new QStackedWidget(this);
    body_->addWidget(empty_);
    body_->addWidget(makeListPage());

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(header);
    column->addWidget(new look::Separator(Qt::Horizontal, this));
    column->addWidget(body_, 1);

    for (auto signal : {&AppModel::itemsChanged, &AppModel::selectedIDChanged,
                        &AppModel::sortChanged, &AppModel::pairedRawFilesChanged})
        connect(&model_, signal, this, &FilesPane::refresh);
    refresh();
}

QWidget* FilesPane::makeHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(headerInset, headerInset, headerInset, headerInset);
    row->setSpacing(6);
    auto* title = new QLabel(QStringLiteral("Files"), header);
    look::setType(title, look::Type::headline);
    count_ = new QLabel(header);
    look::setTone(count_, look::Tone::secondary);
    row->addWidget(title);
    row->addWidget(count_);
    row->addStretch(1);

    sort_ = symbolButton(Symbol::sort, QStringLiteral("Sort images"), header);
    sortMenu_ = new QMenu(sort_);
    QMenu* menu = sortMenu_;
    auto* choices = new QActionGroup(menu);
    for (const ImageSort order : allCases<ImageSort>()) {
        QAction* action = menu->addAction(texts::displayName(order), this,
                                          [this, order] { model_.chooseSort(order); });
        action->setCheckable(true);
        action->setData(static_cast<int>(order));
        choices->addAction(action);
    }
    // Opened by hand rather than as the button's menu, which would add an arrow beside the
    // icon.
    connect(sort_, &QToolButton::clicked, this,
            [this] { sortMenu_->popup(sort_->mapToGlobal(sort_->rect().bottomLeft())); });
    row->addWidget(sort_);

    auto* add = symbolButton(Symbol::plus, QStringLiteral("Add images or folders"), header);
    connect(add, &QToolButton::clicked, &model_, &AppModel::chooseImages);
    row->addWidget(add);
    return header;
}

QWidget* FilesPane::makeListPage() {
    listPage_ = new QWidget(this);
    list_ = new ImageListView(model_, listPage_);

    auto* footer = new QWidget(listPage_);
    auto* rows = new QVBoxLayout(footer);
    rows->setContentsMargins(footerInset, footerInset - 4, footerInset, footerInset - 4);
    rows->setSpacing(0);
    auto* row = new QHBoxLayout;
    row->setSpacing(2);
    moveUp_ = symbolButton(Symbol::chevronUp, QStringLiteral("Move selected up"), footer);
    moveDown_ = symbolButton(Symbol::chevronDown, QStringLiteral("Move selected down"), footer);
    skippedNote_ = new SkippedNote(model_, footer);
    totalSize_ = new QLabel(footer);
    look::setType(totalSize_, look::Type::caption);
    look::setTone(totalSize_, look::Tone::secondary);
    row->addWidget(moveUp_);
    row->addWidget(moveDown_);
    row->addStretch(1);
    row->addWidget(skippedNote_);
    row->addSpacing(6);
    row->addWidget(totalSize_);
    rows->addLayout(row);
    // Its own line: "12 RAW files shown by their JPEG" is as wide as the pane.
    pairedNote_ = new QLabel(footer);
    look::setType(pairedNote_, look::Type::caption);
    look::setTone(pairedNote_, look::Tone::secondary);
    pairedNote_->setContentsMargins(4, 0, 4, 2);
    rows->addWidget(pairedNote_);
    connect(moveUp_, &QToolButton::clicked, &model_, [this] { model_.moveSelected(-1); });
    connect(moveDown_, &QToolButton::clicked, &model_, [this] { model_.moveSelected(+1); });

    auto* column = new QVBoxLayout(listPage_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(list_, 1);
    column->addWidget(new look::Separator(Qt::Horizontal, listPage_));
    column->addWidget(footer);
    return listPage_;
}

QWidget* FilesPane::body() const { return body_->currentWidget(); }

void FilesPane::refresh() {
    const auto& items = model_.items();
    count_->setText(texts::count(std::ssize(items)));
    body_->setCurrentWidget(items.empty() ? static_cast<QWidget*>(empty_) : listPage_);
    list_->showSelection(model_.selectedID());
    const std::int64_t bytes = std::accumulate(
        items.begin(), items.end(), std::int64_t{0},
        [](std::int64_t sum, const ImageItem& item) { return sum + item.info.bytes; });
    totalSize_->setText(texts::byteCount(bytes));
    const auto& paired = model_.pairedRawFiles();
    pairedNote_->setText(paired.empty() ? QString()
                                        : QString::fromStdString(pairedRawSummary(paired)));
    pairedNote_->setVisible(!paired.empty());
    for (QAction* action : sortMenu_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(model_.sort()));
}

}  // namespace tessel::app
