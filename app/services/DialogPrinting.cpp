#include "services/DialogPrinting.hpp"

#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfDocument>
#include <QPrintDialog>
#include <algorithm>

namespace tessel::app {
namespace {

// The sheets are rasters of 150 pixels per inch; twice that is more than any of them holds.
constexpr double mostPixelsPerInch = 300;

}  // namespace

void preparePrinter(QPrinter& printer, SheetSize pageSize) {
    printer.setFullPage(true);
    printer.setPageLayout(QPageLayout(QPageSize(QSizeF(pageSize.width, pageSize.height),
                                                QPageSize::Point, QString(), QPageSize::ExactMatch),
                                      QPageLayout::Portrait, QMarginsF()));
}

bool printPages(QPdfDocument& document, QPrinter& printer) {
    QPainter painter;
    if (!painter.begin(&printer)) return false;
    const double pixelsPerInch = std::min<double>(printer.resolution(), mostPixelsPerInch);
    for (int page = 0; page < document.pageCount(); ++page) {
        if (page > 0) printer.newPage();
        const QRectF target = printer.pageRect(QPrinter::DevicePixel);
        const QSizeF points = document.pagePointSize(page);
        const QImage image =
            document.render(page, (points * pixelsPerInch / 72).toSize().expandedTo({1, 1}));
        QSizeF drawn = points;
        drawn.scale(target.size(), Qt::KeepAspectRatio);
        const QRectF placed(target.x() + (target.width() - drawn.width()) / 2,
                            target.y() + (target.height() - drawn.height()) / 2, drawn.width(),
                            drawn.height());
        painter.drawImage(placed, image);
    }
    return painter.end();
}

void DialogPrinting::print(QPdfDocument& document, SheetSize pageSize) {
    preparePrinter(printer_, pageSize);
    QPrintDialog dialog(&printer_, window_);
    if (dialog.exec() != QDialog::Accepted) return;
    printPages(document, printer_);
}

}  // namespace tessel::app
