#pragma once
/// A text field for an integer in the current locale, without digit grouping. It is submitted
/// with Return, and when the field is left after typing in it; text that is not a number is
/// never submitted and is replaced by the current value when the field is left.

#include <QLineEdit>
#include <cstdint>
#include <optional>

namespace tessel::app {

class NumberField final : public QLineEdit {
    Q_OBJECT
public:
    /// A field `width` logical pixels wide showing `placeholder` while empty.
    NumberField(const QString& placeholder, int width, QWidget* parent = nullptr);

    /// Shows `value`, unless the user is typing in the field (it has the focus and unsubmitted
    /// text): what is being typed is never overwritten.
    void showValue(std::int64_t value);
    /// The number typed; nothing when the text is not one.
    std::optional<std::int64_t> value() const;

signals:
    /// The user submitted `value`.
    void submitted(std::int64_t value);
    /// The user left the field with text that is not a number; the owner shows the current
    /// value again.
    void abandoned();

protected:
    void focusOutEvent(QFocusEvent* event) override;

private:
    void submit();
};

}  // namespace tessel::app
