#include "window/PreviewPane.hpp"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include "window/EmptyState.hpp"
#include "window/Look.hpp"
#include "window/PageView.hpp"
#include "window/Spinner.hpp"
#include "window/Symbols.hpp"
#include "window/Texts.hpp"

namespace tessel::app {
namespace {

constexpr int inset = 22;
constexpr int pageLabelWidth = 92;

// A footer figure: an optional symbol before a caption-sized label.
QLabel* figure(QHBoxLayout* row, std::optional<Symbol> symbol, QWidget* parent) {
    auto* group = new QHBoxLayout;
    group->setSpacing(5);
    if (symbol) group->addWidget(new SymbolLabel(*symbol, 14, look::Tone::secondary, parent));
    auto* label = new QLabel(parent);
    look::setType(label, look::Type::caption);
    look::setTone(label, look::Tone::secondary);
    group->addWidget(label);
    row->addLayout(group);
    return label;
}

}  // namespace

PreviewPane::PreviewPane(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    look::followPalette(this, [this] {
        QPalette palette = this->palette();
        palette.setColor(QPalette::Window, look::underPage(QApplication::palette()));
        setPalette(palette);
    });
    setAutoFillBackground(true);

    pageView_ = new PageView(this);
    progress_ = new QWidget(this);
    {
        auto* column = new QVBoxLayout(progress_);
        column->addStretch(1);
        column->addWidget(new Spinner(28, progress_), 0, Qt::AlignHCenter);
        column->addSpacing(10);
        progressLabel_ = new QLabel(progress_);
        look::setTone(progressLabel_, look::Tone::secondary);
        column->addWidget(progressLabel_, 0, Qt::AlignHCenter);
        column->addStretch(1);
    }
    empty_ =
        new EmptyState(Symbol::grid, QStringLiteral("Your sheet appears here"),
                       QStringLiteral("Add images, choose a layout, then export or print."), this);
    body_ = new QStackedWidget(this);
    body_->addWidget(pageView_);
    body_->addWidget(progress_);
    body_->addWidget(empty_);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(makeHeader());
    column->addWidget(body_, 1);
    column->addWidget(makeFooter());

    for (auto signal : {&AppModel::itemsChanged, &AppModel::recipeValueChanged,
                        &AppModel::previewResultChanged, &AppModel::previewPageChanged,
                        &AppModel::isLoadingChanged, &AppModel::isRenderingChanged})
        connect(&model_, signal, this, &PreviewPane::refresh);
    refresh();
}

QWidget* PreviewPane::makeHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(inset, inset, inset, inset);

    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    auto* title = new QLabel(QStringLiteral("Contact Sheet"), header);
    look::setType(title, look::Type::title2);
    summary_ = new QLabel(header);
    look::setTone(summary_, look::Tone::secondary);
    titles->addWidget(title);
    titles->addWidget(summary_);
    row->addLayout(titles);
    row->addStretch(1);

    navigation_ = new QWidget(header);
    auto* pages = new QHBoxLayout(navigation_);
    pages->setContentsMargins(0, 0, 0, 0);
    pages->setSpacing(2);
    previous_ = symbolButton(Symbol::chevronLeft, QStringLiteral("Previous page"), navigation_);
    next_ = symbolButton(Symbol::chevronRight, QStringLiteral("Next page"), navigation_);
    pageLabel_ = new QLabel(navigation_);
    pageLabel_->setAlignment(Qt::AlignCenter);
    pageLabel_->setMinimumWidth(pageLabelWidth);
    pages->addWidget(previous_);
    pages->addWidget(pageLabel_);
    pages->addWidget(next_);
    row->addWidget(navigation_);
    connect(previous_, &QToolButton::clicked, &model_, &AppModel::previousPage);
    connect(next_, &QToolButton::clicked, &model_, &AppModel::nextPage);
    return header;
}

QWidget* PreviewPane::makeFooter() {
    auto* footer = new QWidget(this);
    auto* row = new QHBoxLayout(footer);
    row->setContentsMargins(inset, inset, inset, inset);
    imageCount_ = figure(row, Symbol::photoStack, footer);
    row->addStretch(1);
    pagePixels_ = figure(row, std::nullopt, footer);
    row->addStretch(1);
    pageCount_ = figure(row, Symbol::docs, footer);
    return footer;
}

QWidget* PreviewPane::body() const { return body_->currentWidget(); }

void PreviewPane::refresh() {
    const SheetRecipe& recipe = model_.recipe();
    const qint64 pages = model_.pageCount();
    summary_->setText(texts::summary(recipe));

    navigation_->setVisible(pages >= 2);
    previous_->setEnabled(model_.previewPage() > 0);
    next_->setEnabled(model_.previewPage() + 1 < pages);
    pageLabel_->setText(texts::pageOfPages(model_.previewPage(), pages));

    // Precedence: the page, then progress, then the empty state.
    const QByteArray page = model_.currentPreviewData();
    const bool working = model_.isLoading() || model_.isRendering();
    if (!page.isEmpty()) {
        pageView_->setPage(page);
        pageView_->setBusy(working);
        body_->setCurrentWidget(pageView_);
    } else if (working) {
        pageView_->setPage({});
        progressLabel_->setText(model_.isLoading() ? QStringLiteral("Reading images…")
                                                   : QStringLiteral("Laying out pages…"));
        body_->setCurrentWidget(progress_);
    } else {
        pageView_->setPage({});
        body_->setCurrentWidget(empty_);
    }

    imageCount_->setText(texts::images(std::ssize(model_.items())));
    pagePixels_->setText(texts::pagePixels(recipe));
    pageCount_->setText(texts::pages(pages));
}

}  // namespace tessel::app
