#include "window/SkippedNote.hpp"

#include <QFile>
#include <QFrame>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>

#include "window/Look.hpp"
#include "window/Texts.hpp"

namespace tessel::app {
namespace {

constexpr int kPopupWidth = 340;
constexpr int kPopupInset = 14;
constexpr int kLargestListHeight = 320;

QLabel* wrappedLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

}  // namespace

SkippedNote::SkippedNote(AppModel& model, QWidget* parent) : QToolButton(parent), model_(model) {
    setAutoRaise(true);
    setToolButtonStyle(Qt::ToolButtonTextOnly);
    setCursor(Qt::PointingHandCursor);
    setToolTip(QStringLiteral("Show which files were not added, and why"));
    look::setType(this, look::Type::caption);
    look::setTone(this, look::Tone::secondary);
    connect(this, &QToolButton::clicked, this, &SkippedNote::openPopup);
    connect(&model_, &AppModel::skippedFilesChanged, this, &SkippedNote::refresh);
    refresh();
}

void SkippedNote::refresh() {
    const auto& skipped = model_.skippedFiles();
    setText(texts::filesSkipped(std::ssize(skipped)));
    setVisible(!skipped.empty());
    if (popup_) popup_->close();
}

void SkippedNote::openPopup() {
    // Made afresh from the model each time: the popup holds no state of its own.
    auto* popup = new QFrame(this, Qt::Popup);
    popup->setAttribute(Qt::WA_DeleteOnClose);
    popup->setFrameShape(QFrame::StyledPanel);
    popup->setFixedWidth(kPopupWidth);
    popup_ = popup;
    connect(popup, &QObject::destroyed, this, [this, popup] {
        if (popup_ == popup) popup_ = nullptr;
    });

    auto* title = new QLabel(QStringLiteral("Not added"), popup);
    look::setType(title, look::Type::headline);
    auto* list = new QWidget;
    auto* rows = new QVBoxLayout(list);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(10);
    for (const SkippedFile& file : model_.skippedFiles()) {
        auto* entry = new QVBoxLayout;
        entry->setSpacing(1);
        QLabel* name = wrappedLabel(QFile::decodeName(file.url.filename().c_str()), list);
        name->setToolTip(QFile::decodeName(file.url.c_str()));
        QLabel* reason = wrappedLabel(file.reason(), list);
        look::setType(reason, look::Type::caption);
        look::setTone(reason, look::Tone::secondary);
        entry->addWidget(name);
        entry->addWidget(reason);
        rows->addLayout(entry);
    }
    auto* scroll = new QScrollArea(popup);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setWidget(list);
    scroll->viewport()->setAutoFillBackground(false);
    list->setAutoFillBackground(false);

    auto* column = new QVBoxLayout(popup);
    column->setContentsMargins(kPopupInset, kPopupInset - 2, kPopupInset, kPopupInset);
    column->setSpacing(8);
    column->addWidget(title);
    column->addWidget(scroll);
    // Wrapped lines decide the height, so it is asked for at the width the list gets.
    int listWidth = kPopupWidth - 2 * kPopupInset;
    if (rows->heightForWidth(listWidth) > kLargestListHeight)
        listWidth -= scroll->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, scroll);
    list->setFixedWidth(listWidth);
    scroll->setFixedHeight(std::min(rows->heightForWidth(listWidth), kLargestListHeight));
    popup->adjustSize();

    // Above the note, its left edge with the note's, kept on the screen.
    QPoint at = mapToGlobal(QPoint(0, -popup->height() - 4));
    if (const QScreen* shown = screen()) {
        const QRect area = shown->availableGeometry();
        at.setX(
            std::clamp(at.x(), area.left(), std::max(area.left(), area.right() - popup->width())));
        at.setY(std::max(at.y(), area.top()));
    }
    popup->move(at);
    popup->show();
}

}  // namespace tessel::app
