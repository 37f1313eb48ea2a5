#pragma once
/// `ImageItem`: one image in the application's list.

#include <QByteArray>
#include <QUuid>
#include <filesystem>

#include "tessel/Inspection.hpp"

namespace tessel::app {

/// One image of the list, told apart from the others by `id` alone: items have no equality,
/// so the same file added twice is two items.
struct ImageItem {
    QUuid id;                   ///< made fresh when the item is made
    std::filesystem::path url;  ///< the file exactly as the scan found it
    SheetImageInfo info;        ///< what inspection learnt of the file
    QByteArray thumbnailData;   ///< JPEG at most 320 pixels on its longer side; empty when none
};

}  // namespace tessel::app
