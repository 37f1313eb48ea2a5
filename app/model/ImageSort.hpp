#pragma once
/// `ImageSort`: the orders of the image list.
///
/// Its raw values and display names come from the same table as the core's enumerations, so
/// `rawValue`, `name`, `fromRawValue` and `allCases` of `tessel/SheetTypes.hpp` work on it.

#include <array>
#include <vector>

#include "tessel/SheetTypes.hpp"

#include "model/ImageItem.hpp"

namespace tessel::app {

/// The list's order. There is no descending order.
enum class ImageSort {
    manual,    ///< the user's own order; sorting leaves the list as it is
    filename,  ///< ascending by file name, natural order
    date,      ///< ascending by date taken; undated images first
};

/// Reorders `items` by `sort`, stably: equal keys keep their order. `manual` changes nothing.
void sortItems(std::vector<ImageItem>& items, ImageSort sort);

}  // namespace tessel::app

template <>
struct tessel::EnumTable<tessel::app::ImageSort> {
    static constexpr std::array<EnumEntry<app::ImageSort>, 3> entries{{
        {app::ImageSort::manual, "manual", "Manual"},
        {app::ImageSort::filename, "filename", "Filename"},
        {app::ImageSort::date, "date", "Date"},
    }};
};
