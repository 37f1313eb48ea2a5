#include "window/SegmentedControl.hpp"

#include <QHBoxLayout>
#include <QPainter>
#include <algorithm>

#include "window/Look.hpp"

namespace tessel::app {
namespace {

constexpr double trackRadius = 6.0;
constexpr int trackInset = 2;

QColor trackColor(const QPalette& palette) {
    return look::mix(palette.color(QPalette::Window), palette.color(QPalette::WindowText),
                     look::isDark(palette) ? 0.10 : 0.07);
}

QColor raisedColor(const QPalette& palette) {
    return look::isDark(palette) ? look::mix(palette.color(QPalette::Window),
                                             palette.color(QPalette::WindowText), 0.24)
                                 : palette.color(QPalette::Base);
}

// One choice: its title, on a raised rounded rectangle when chosen.
class Segment final : public QAbstractButton {
public:
    Segment(const QString& title, QWidget* parent) : QAbstractButton(parent) {
        setText(title);
        setCheckable(true);
        setAutoExclusive(true);
        setFocusPolicy(Qt::StrongFocus);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    QSize sizeHint() const override {
        const QFontMetrics metrics = fontMetrics();
        return {metrics.horizontalAdvance(text()) + 24, metrics.height() + 10};
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QPalette& colours = palette();
        const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        if (isChecked()) {
            painter.setPen(QPen(look::separator(colours), 1.0));
            painter.setBrush(raisedColor(colours));
            painter.drawRoundedRect(box, trackRadius - 1.5, trackRadius - 1.5);
        } else if (isDown() || underMouse()) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(look::mix(trackColor(colours), colours.color(QPalette::WindowText),
                                       isDown() ? 0.10 : 0.05));
            painter.drawRoundedRect(box, trackRadius - 1.5, trackRadius - 1.5);
        }
        if (hasFocus()) {
            painter.setPen(QPen(colours.color(QPalette::Highlight), 2.0));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), trackRadius - 2,
                                    trackRadius - 2);
        }
        const auto group = isEnabled() ? QPalette::Active : QPalette::Disabled;
        painter.setPen(colours.color(group, QPalette::WindowText));
        painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
    }

    void enterEvent(QEnterEvent* event) override {
        update();
        QAbstractButton::enterEvent(event);
    }
    void leaveEvent(QEvent* event) override {
        update();
        QAbstractButton::leaveEvent(event);
    }
};

}  // namespace

SegmentedControl::SegmentedControl(const QStringList& titles, QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(trackInset, trackInset, trackInset, trackInset);
    row->setSpacing(trackInset);
    int widest = 0;
    for (const QString& title : titles) {
        auto* segment = new Segment(title, this);
        const int index = static_cast<int>(segments_.size());
        connect(segment, &QAbstractButton::clicked, this, [this, segment, index] {
            setFocusProxy(segment);
            emit activated(index);
        });
        segments_.push_back(segment);
        row->addWidget(segment);
        widest = std::max(widest, segment->sizeHint().width());
    }
    // Equal segments, as wide as the widest title needs.
    for (QAbstractButton* segment : segments_) segment->setMinimumWidth(widest);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFocusProxy(segments_.empty() ? nullptr : segments_.front());
}

int SegmentedControl::currentIndex() const {
    for (std::size_t i = 0; i < segments_.size(); ++i)
        if (segments_[i]->isChecked()) return static_cast<int>(i);
    return -1;
}

void SegmentedControl::setCurrentIndex(int index) {
    if (index < 0 || index >= count()) return;
    QAbstractButton* chosen = segments_[static_cast<std::size_t>(index)];
    if (chosen->isChecked()) return;
    // Moving the keyboard focus along keeps the one Tab stop on the chosen segment.
    const bool hadFocus = std::ranges::any_of(segments_, &QWidget::hasFocus);
    chosen->setChecked(true);
    setFocusProxy(chosen);
    if (hadFocus) chosen->setFocus();
}

QAbstractButton* SegmentedControl::segment(int index) const {
    return segments_.at(static_cast<std::size_t>(index));
}

void SegmentedControl::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(trackColor(palette()));
    painter.drawRoundedRect(QRectF(rect()), trackRadius, trackRadius);
}

}  // namespace tessel::app
