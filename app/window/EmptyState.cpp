#include "window/EmptyState.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "window/Look.hpp"

namespace tessel::app {
namespace {

constexpr int symbolSize = 48;
constexpr int textWidth = 240;

}  // namespace

EmptyState::EmptyState(Symbol symbol, const QString& title, const QString& description,
                       QWidget* parent)
    : QWidget(parent) {
    auto* icon = new SymbolLabel(symbol, symbolSize, look::Tone::tertiary);

    // The texts wrap within a column of at most `textWidth`, centred in the space given.
    auto* textColumn = new QWidget(this);
    textColumn->setMaximumWidth(textWidth);
    title_ = new QLabel(title, textColumn);
    title_->setAlignment(Qt::AlignCenter);
    title_->setWordWrap(true);
    QFont titleFont = look::font(look::Type::title2);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 0.9);
    title_->setFont(titleFont);
    description_ = new QLabel(description, textColumn);
    description_->setAlignment(Qt::AlignCenter);
    description_->setWordWrap(true);
    look::setTone(description_, look::Tone::secondary);
    column_ = new QVBoxLayout(textColumn);
    column_->setContentsMargins(0, 0, 0, 0);
    column_->setSpacing(6);
    column_->addWidget(icon, 0, Qt::AlignHCenter);
    column_->addSpacing(8);
    column_->addWidget(title_);
    column_->addWidget(description_);

    auto* across = new QHBoxLayout;
    across->addStretch(1);
    across->addWidget(textColumn, 100);
    across->addStretch(1);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(20, 20, 20, 20);
    outer->addStretch(1);
    outer->addLayout(across);
    outer->addStretch(1);
}

QPushButton* EmptyState::addButton(const QString& text) {
    auto* button = new QPushButton(text, this);
    column_->addSpacing(10);
    column_->addWidget(button, 0, Qt::AlignHCenter);
    return button;
}

QString EmptyState::title() const { return title_->text(); }

QString EmptyState::description() const { return description_->text(); }

}  // namespace tessel::app
