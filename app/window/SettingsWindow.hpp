#pragma once
/// The settings window, an About panel 460 pixels wide: "Orvane Tessel {version}", the maker's
/// notice linking to the maker's site, and the links "Send feedback" and "Website". It changes
/// nothing; links open in the desktop's browser.

#include <QUrl>
#include <QWidget>

#include "model/AppModel.hpp"

class QLabel;

namespace tessel::app {

class SettingsWindow final : public QWidget {
    Q_OBJECT
public:
    /// The maker's site, linked from the notice line.
    static QUrl makerURL();

    SettingsWindow(const AppModel& model, QWidget* parent = nullptr);

    QLabel* productLine() const { return product_; }
    QLabel* noticeLink() const { return notice_; }
    QLabel* feedbackLink() const { return feedback_; }
    QLabel* websiteLink() const { return website_; }

private:
    QLabel* product_;
    QLabel* notice_;
    QLabel* feedback_;
    QLabel* website_;
};

}  // namespace tessel::app
