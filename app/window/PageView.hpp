#pragma once
/// The preview's page: the encoded page image scaled to fit the view, 34 pixels in from every
/// edge, on a soft drop shadow, and drawn at the screen's full pixel density. A small spinner
/// sits in the top-right corner while a newer page is being made.

#include <QByteArray>
#include <QImage>
#include <QPixmap>
#include <QWidget>

namespace tessel::app {

class Spinner;

class PageView final : public QWidget {
    Q_OBJECT
public:
    explicit PageView(QWidget* parent = nullptr);

    /// Shows the page encoded in `data` (PNG or JPEG); decodes only when it differs from the
    /// page shown.
    void setPage(const QByteArray& data);
    /// Shows or hides the spinner over the page.
    void setBusy(bool busy);
    bool isBusy() const;

    /// Where the page is drawn, in the view's coordinates (empty without a page).
    QRectF pageRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QByteArray data_;  // the bytes of the page shown, to tell a new page from the same one
    QImage page_;
    QPixmap scaled_;  // `page_` at the size and density last drawn
    Spinner* spinner_;
};

}  // namespace tessel::app
