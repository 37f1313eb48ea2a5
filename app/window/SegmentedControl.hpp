#pragma once
/// A row of mutually exclusive choices drawn as one control, the chosen one raised. One Tab
/// stop; the arrow keys move the choice. Each segment is a checkable button named by its
/// title for screen readers.

#include <QAbstractButton>
#include <QStringList>
#include <QWidget>
#include <vector>

namespace tessel::app {

class SegmentedControl final : public QWidget {
    Q_OBJECT
public:
    explicit SegmentedControl(const QStringList& titles, QWidget* parent = nullptr);

    /// The chosen segment; -1 when none is.
    int currentIndex() const;
    /// Shows `index` as chosen without emitting `activated`.
    void setCurrentIndex(int index);
    /// The segment at `index`, for tests and focus.
    QAbstractButton* segment(int index) const;
    int count() const { return static_cast<int>(segments_.size()); }

signals:
    /// The user chose the segment at `index` (by click, Space or an arrow key).
    void activated(int index);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<QAbstractButton*> segments_;
};

}  // namespace tessel::app
