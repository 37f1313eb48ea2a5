#pragma once
// One page being drawn: a cairo surface over a Bitmap, addressed in the layout's coordinates
// (raster pixels, origin at the bottom-left, y upwards).

#include <cstdint>
#include <memory>
#include <string_view>

#include "tessel/SheetRecipe.hpp"

#include "base/Bitmap.hpp"

namespace tessel::detail {

/// The font families captions ask for, best first.
inline constexpr const char* captionFontFamilies = "Helvetica Neue,Nimbus Sans,sans-serif";

/// How a line of text is set: its size in raster pixels, its colour and its place in the band.
struct TextStyle {
    double fontSize = 12;
    SheetColor color = SheetColor::black();
    SheetCaptionAlignment alignment = SheetCaptionAlignment::center;
};

/// A page bitmap being drawn. Not thread-safe: one thread draws at a time, though that may be
/// a different thread for every call.
class PageCanvas {
public:
    /// A page of `width` × `height` pixels filled with `background` (components clamped to
    /// 0...1, NaN as 0). Throws `TesselError::cannotCreateContext` when no such bitmap can be
    /// made.
    PageCanvas(std::int64_t width, std::int64_t height, SheetColor background);
    PageCanvas(const PageCanvas&) = delete;
    PageCanvas& operator=(const PageCanvas&) = delete;
    ~PageCanvas();

    /// Scales `image` into `imageFrame` (whole for `fit`, covering for `fill`), centred and
    /// clipped to the frame, with smooth interpolation. An image within a pixel of that size
    /// already is put down as it is, on whole pixels.
    void drawImage(const Bitmap& image, const SheetRect& imageFrame, SheetFit fit);

    /// Sets `text` on one line in `band` in the caption font: truncated at the end with "…",
    /// its baseline half the spare height above the band's bottom, clipped to the band.
    /// Empty text draws nothing.
    void drawText(std::string_view text, const SheetRect& band, const TextStyle& style);

    /// The page as drawn so far, for rows that nothing drawn later can reach.
    const Bitmap& pixels() const;

    /// The finished page; the canvas is spent afterwards. Throws
    /// `TesselError::cannotCreateContext` when drawing went wrong.
    Bitmap finish();

private:
    /// `rect` in cairo's top-left device space.
    SheetRect toDevice(const SheetRect& rect) const;

    struct Drawing;  // cairo's state, kept out of this header

    Bitmap bitmap_;
    std::unique_ptr<Drawing> drawing_;
};

/// The factor `drawImage` scales a `width` × `height` picture by to put it into `frame`: whole
/// for `fit`, covering for `fill`; 0 when there is none.
double drawingScale(std::int64_t width, std::int64_t height, const SheetRect& frame, SheetFit fit);

/// Clamps a colour component to 0...1; NaN becomes 0.
double clampedComponent(double value);

}  // namespace tessel::detail
