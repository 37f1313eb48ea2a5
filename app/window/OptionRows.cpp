#include "window/OptionRows.hpp"

#include <QHBoxLayout>

#include "window/Look.hpp"

namespace tessel::app {
namespace {

constexpr int rowSpacing = 12;

}  // namespace

OptionSection::OptionSection(const QString& title, QWidget* parent) : QWidget(parent) {
    column_ = new QVBoxLayout(this);
    column_->setContentsMargins(0, 0, 0, 0);
    column_->setSpacing(rowSpacing);
    auto* heading = new QLabel(title, this);
    look::setType(heading, look::Type::subheadline);
    look::setTone(heading, look::Tone::secondary);
    heading->setAccessibleName(title);
    column_->addWidget(heading);
}

QWidget* OptionSection::addRow(const QString& label, std::initializer_list<QWidget*> controls) {
    auto* row = new QWidget(this);
    auto* line = new QHBoxLayout(row);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    if (!label.isEmpty()) {
        auto* name = new QLabel(label, row);
        line->addWidget(name);
        if (controls.size() > 0) {
            QWidget* first = *controls.begin();
            name->setBuddy(first);
            if (first->accessibleName().isEmpty()) first->setAccessibleName(label);
        }
    }
    line->addStretch(1);
    for (QWidget* control : controls) {
        control->setParent(row);
        line->addWidget(control);
    }
    column_->addWidget(row);
    return row;
}

void OptionSection::addWidget(QWidget* widget) { column_->addWidget(widget); }

QLabel* unitLabel(const QString& text, QWidget* parent) {
    auto* unit = new QLabel(text, parent);
    look::setTone(unit, look::Tone::secondary);
    return unit;
}

QString layoutsSignature(const std::vector<SavedLayout>& layouts) {
    QStringList parts;
    for (const SavedLayout& layout : layouts)
        parts << QString::fromStdString(layout.id) << QString::fromStdString(layout.name);
    return parts.join(QChar(0));
}

}  // namespace tessel::app
