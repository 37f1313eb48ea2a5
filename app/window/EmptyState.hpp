#pragma once
/// The panel shown where there is nothing yet: a large symbol, a title, a description and,
/// optionally, one button, centred in the space it is given.

#include <QPushButton>
#include <QString>
#include <QWidget>

class QLabel;
class QVBoxLayout;

#include "window/Symbols.hpp"

namespace tessel::app {

class EmptyState final : public QWidget {
    Q_OBJECT
public:
    EmptyState(Symbol symbol, const QString& title, const QString& description,
               QWidget* parent = nullptr);

    /// Adds the panel's button under the description and returns it (to connect its click).
    QPushButton* addButton(const QString& text);

    QString title() const;
    QString description() const;

private:
    QLabel* title_;
    QLabel* description_;
    QVBoxLayout* column_;
};

}  // namespace tessel::app
