#include "model/ImageSort.hpp"

#include <algorithm>

#include "tessel/ImageFiles.hpp"

namespace tessel::app {

void sortItems(std::vector<ImageItem>& items, ImageSort sort) {
    switch (sort) {
        case ImageSort::manual: return;
        case ImageSort::filename:
            std::ranges::stable_sort(items, [](const ImageItem& a, const ImageItem& b) {
                return naturalLess(a.url.filename().string(), b.url.filename().string());
            });
            return;
        case ImageSort::date:
            // An absent date is the distant past; optionals already order it first.
            std::ranges::stable_sort(items, {},
                                     [](const ImageItem& item) { return item.info.dateTaken; });
            return;
    }
}

}  // namespace tessel::app
