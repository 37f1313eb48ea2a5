#pragma once
/// Printing a finished sheet. The application's implementation is `DialogPrinting`.

#include "tessel/SheetTypes.hpp"

class QPdfDocument;

namespace tessel::app {

class Printing {
public:
    virtual ~Printing() = default;

    /// Prints every page of `document`, each drawn at `pageSize` (points, the recipe's PDF
    /// page size). Shows the print dialog first and returns when the user is done with it.
    virtual void print(QPdfDocument& document, SheetSize pageSize) = 0;

protected:
    Printing() = default;
    Printing(const Printing&) = default;
    Printing& operator=(const Printing&) = default;
};

}  // namespace tessel::app
