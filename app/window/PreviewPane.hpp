#pragma once
/// The middle pane: the title and summary line, page navigation from two pages on, the live
/// preview (or its progress, or the empty state) and the footer figures.

#include <QWidget>

#include "model/AppModel.hpp"

class QLabel;
class QStackedWidget;
class QToolButton;

namespace tessel::app {

class EmptyState;
class PageView;

class PreviewPane final : public QWidget {
    Q_OBJECT
public:
    explicit PreviewPane(AppModel& model, QWidget* parent = nullptr);

    /// Shows the model: summary, navigation, body and footer.
    void refresh();

    // The parts a test looks at.
    QLabel* summary() const { return summary_; }
    QWidget* navigation() const { return navigation_; }
    QToolButton* previousButton() const { return previous_; }
    QToolButton* nextButton() const { return next_; }
    QLabel* pageLabel() const { return pageLabel_; }
    PageView* pageView() const { return pageView_; }
    QLabel* progressLabel() const { return progressLabel_; }
    EmptyState* emptyState() const { return empty_; }
    /// The body shown: the page view, the progress panel or the empty state.
    QWidget* body() const;
    QLabel* imageCount() const { return imageCount_; }
    QLabel* pagePixels() const { return pagePixels_; }
    QLabel* pageCount() const { return pageCount_; }

private:
    QWidget* makeHeader();
    QWidget* makeFooter();

    AppModel& model_;
    QLabel* summary_;
    QWidget* navigation_;
    QToolButton* previous_;
    QToolButton* next_;
    QLabel* pageLabel_;
    QStackedWidget* body_;
    PageView* pageView_;
    QWidget* progress_;
    QLabel* progressLabel_;
    EmptyState* empty_;
    QLabel* imageCount_;
    QLabel* pagePixels_;
    QLabel* pageCount_;
};

}  // namespace tessel::app
