#pragma once
/// The building blocks of the options pane: a titled section and its labelled rows.

#include <QLabel>
#include <QString>
#include <QVBoxLayout>
#include <QWidget>
#include <initializer_list>
#include <vector>

#include "tessel/SavedLayouts.hpp"

namespace tessel::app {

/// A column headed by its title (subheadline type, secondary colour), rows 12 pixels apart.
class OptionSection final : public QWidget {
public:
    OptionSection(const QString& title, QWidget* parent);

    /// A row with `label` on the left and `controls` on the right. The label names the first
    /// control for screen readers and takes the keyboard to it with its mnemonic. Returns the
    /// row, to show or hide it.
    QWidget* addRow(const QString& label, std::initializer_list<QWidget*> controls);
    /// A widget across the whole width.
    void addWidget(QWidget* widget);

private:
    QVBoxLayout* column_;
};

/// A unit after a field ("px", "pt", "×"), in the secondary colour.
QLabel* unitLabel(const QString& text, QWidget* parent);

/// The ids and names of `layouts` in order, as one text: what the presets menu and the saved
/// layout rows were built from, so they are rebuilt only when it changes.
QString layoutsSignature(const std::vector<SavedLayout>& layouts);

}  // namespace tessel::app
