#pragma once
// The picture of each cell: decoded once, bounded by the cell's size and turned upright.

#include <cstdint>
#include <optional>

#include "tessel/Inspection.hpp"
#include "tessel/Layout.hpp"
#include "tessel/Render.hpp"

#include "base/Bitmap.hpp"
#include "render/PictureStore.hpp"

namespace tessel::detail {

/// The longest side, in pixels, at which a picture for `imageFrame` is decoded: 2.2 times
/// the frame's longer side, fraction dropped, at least 1.
std::int64_t decodeSize(const SheetRect& imageFrame);

/// The longer side, in pixels, at which `cell` draws the picture of `input` with `fit` (from
/// the image's upright size in its information), at least 1.
std::int64_t drawnSize(const SheetInput& input, const SheetCell& cell, SheetFit fit);

/// The upright, bounded picture for `cell`; with `nearest`, a JPEG may come from a DCT scale up
/// to a fifth below the bound, as a preview's cached pictures may. A camera RAW file's preview
/// serves when it reaches the size `cell` draws the picture at with `fit`. Throws
/// `TesselError::cannotRead` with the file's name (extension included) when it cannot be
/// decoded.
Bitmap decodeForCell(const SheetInput& input, const SheetCell& cell, bool nearest = false,
                     const RenderCancellation* cancellation = nullptr,
                     SheetFit fit = SheetFit::fit);

/// The longer side, in pixels, at which `cell` draws the picture of `input` (from the image's
/// upright size in its information) when that is below the decode bound and below the image;
/// nothing otherwise.
std::optional<std::int64_t> finalSize(const SheetInput& input, const SheetCell& cell, SheetFit fit);

/// `decodeForCell`, through `cache` when there is one, as `reuse` allows. With
/// `CachedPictures::exact` a picture drawn smaller than its bound is decoded at the bound's DCT
/// scale and reduced once, straight to `finalSize`. A JPEG's decoding
/// stops once `cancellation` is set, and the picture then fails as an unreadable one would. With
/// `CachedPictures::nearest` the cache also keeps the picture at the size the cell draws it
/// with `fit`, when that is well below the decoded size, and that is what comes back: an edit
/// that leaves the cells as they were then draws every picture without resampling it.
SharedPicture pictureForCell(const SheetInput& input, const SheetCell& cell, PictureCache* cache,
                             CachedPictures reuse, SheetFit fit,
                             const RenderCancellation* cancellation = nullptr);

}  // namespace tessel::detail
