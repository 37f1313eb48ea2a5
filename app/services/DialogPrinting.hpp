#pragma once
/// Printing through `QPrinter` and the print dialog, with one printer kept for the life of the
/// application so that the user's choices carry over from one print to the next.

#include <QPointer>
#include <QPrinter>
#include <QWidget>

#include "services/Printing.hpp"

namespace tessel::app {

/// Sets `printer`'s page to `pageSize` (points), portrait, without margins.
void preparePrinter(QPrinter& printer, SheetSize pageSize);

/// Draws every page of `document` on `printer`, one printer page each, scaled to fit the page
/// and centred; pages are rasterised at no more than 300 pixels per inch. False when the
/// printer cannot be painted on.
bool printPages(QPdfDocument& document, QPrinter& printer);

class DialogPrinting final : public Printing {
public:
    explicit DialogPrinting(QWidget* window = nullptr) : window_(window) {}
    void setWindow(QWidget* window) { window_ = window; }

    /// Sets the page to `pageSize`, shows the print dialog and prints when it is accepted.
    void print(QPdfDocument& document, SheetSize pageSize) override;

private:
    QPrinter printer_{QPrinter::HighResolution};
    QPointer<QWidget> window_;
};

}  // namespace tessel::app
