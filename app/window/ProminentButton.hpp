#pragma once
/// The window's one prominent action: a push button filled with the accent colour, its text
/// and icon in the accent's text colour; the default button of its area.

#include <QPushButton>

namespace tessel::app {

class ProminentButton final : public QPushButton {
    Q_OBJECT
public:
    ProminentButton(const QIcon& icon, const QString& text, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
};

}  // namespace tessel::app
