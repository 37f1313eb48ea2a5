#pragma once
/// A small indeterminate progress indicator: twelve spokes fading round, in the palette's text
/// colour. It animates only while visible.

#include <QBasicTimer>
#include <QWidget>

namespace tessel::app {

class Spinner final : public QWidget {
    Q_OBJECT
public:
    /// A spinner `diameter` logical pixels across.
    explicit Spinner(int diameter, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    int diameter_;
    int step_ = 0;
    QBasicTimer timer_;
};

}  // namespace tessel::app
