#include "window/SettingsWindow.hpp"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

#include "window/Look.hpp"

namespace tessel::app {
namespace {

constexpr int windowWidth = 460;

// A group of rows on a rounded card, as a grouped form shows a section.
class Card final : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(look::separator(palette()), 1.0));
        painter.setBrush(look::isDark(palette())
                             ? look::mix(palette().color(QPalette::Window),
                                         palette().color(QPalette::WindowText), 0.06)
                             : palette().color(QPalette::Base));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    }
};

// A link that opens `url` in the desktop's default handler.
QLabel* link(const QString& text, const QUrl& url, QWidget* parent) {
    auto* label =
        new QLabel(QStringLiteral("<a href=\"%1\">%2</a>")
                       .arg(url.toString(QUrl::FullyEncoded).toHtmlEscaped(), text.toHtmlEscaped()),
                   parent);
    label->setTextFormat(Qt::RichText);
    label->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    label->setFocusPolicy(Qt::StrongFocus);
    label->setAccessibleName(text);
    label->setToolTip(url.toString());
    QObject::connect(label, &QLabel::linkActivated, label,
                     [](const QString& target) { QDesktopServices::openUrl(QUrl(target)); });
    return label;
}

}  // namespace

QUrl SettingsWindow::makerURL() { return QUrl(QStringLiteral("https://orvane.com/")); }

SettingsWindow::SettingsWindow(const AppModel& model, QWidget* parent)
    : QWidget(parent, Qt::Window) {
    setWindowTitle(QStringLiteral("Settings"));

    auto* heading = new QLabel(QStringLiteral("About"), this);
    look::setType(heading, look::Type::subheadline);
    look::setTone(heading, look::Tone::secondary);

    auto* card = new Card(this);
    auto* row = new QHBoxLayout(card);
    row->setContentsMargins(14, 12, 14, 12);
    row->setSpacing(14);
    auto* identity = new QVBoxLayout;
    identity->setSpacing(2);
    product_ = new QLabel(QStringLiteral("Orvane Tessel %1").arg(model.version()), card);
    product_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    notice_ = link(QStringLiteral("Made by Orvane"), makerURL(), card);
    look::setType(notice_, look::Type::caption);
    identity->addWidget(product_);
    identity->addWidget(notice_);
    row->addLayout(identity);
    row->addStretch(1);
    feedback_ = link(QStringLiteral("Send feedback"), model.feedbackURL(), card);
    website_ = link(QStringLiteral("Website"), model.websiteURL(), card);
    row->addWidget(feedback_);
    row->addWidget(website_);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 18, 20, 20);
    column->setSpacing(8);
    column->addWidget(heading);
    column->addWidget(card);
    setFixedSize(windowWidth, sizeHint().height());
}

}  // namespace tessel::app
