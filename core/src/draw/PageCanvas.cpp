#include "draw/PageCanvas.hpp"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "tessel/TesselError.hpp"

#include "draw/Cairo.hpp"

namespace tessel::detail {
namespace {

// cairo image surfaces are limited to this many pixels on a side.
constexpr std::int64_t largestSurfaceSide = 32767;

/// A cairo surface reading `image`'s pixels in place.
CairoSurface surfaceOver(const Bitmap& image) {
    // cairo only reads from a source surface; the pixels are never written through it.
    auto* pixels = const_cast<unsigned char*>(image.pixels.data());
    return CairoSurface(cairo_image_surface_create_for_data(
        pixels, CAIRO_FORMAT_ARGB32, static_cast<int>(image.width), static_cast<int>(image.height),
        static_cast<int>(image.stride())));
}

TesselError drawingError(cairo_status_t status) {
    return TesselError::cannotCreateContext().withCause(
        std::string("The drawing library reports: ") + cairo_status_to_string(status) + ".");
}

}  // namespace

double clampedComponent(double value) {
    if (std::isnan(value)) return 0;
    return std::clamp(value, 0.0, 1.0);
}

PageCanvas::PageCanvas(std::int64_t width, std::int64_t height, SheetColor background)
    : drawing_(std::make_unique<Drawing>()) {
    const std::string size = std::to_string(width) + " × " + std::to_string(height);
    if (width < 1 || height < 1 || width > largestSurfaceSide || height > largestSurfaceSide)
        throw TesselError::cannotCreateContext().withCause("A page of " + size +
                                                           " pixels is beyond what can be drawn.");
    bitmap_.width = width;
    bitmap_.height = height;
    try {
        bitmap_.pixels.assign(static_cast<std::size_t>(width * height * 4), 0);
    } catch (const std::bad_alloc&) {
        throw TesselError::cannotCreateContext().withCause(
            "There is not enough memory for a page of " + size + " pixels.");
    }
    drawing_->surface = surfaceOver(bitmap_);
    if (cairo_surface_status(drawing_->surface.get()) != CAIRO_STATUS_SUCCESS)
        throw drawingError(cairo_surface_status(drawing_->surface.get()));
    drawing_->context = CairoContext(cairo_create(drawing_->surface.get()));
    if (cairo_status(drawing_->context.get()) != CAIRO_STATUS_SUCCESS)
        throw drawingError(cairo_status(drawing_->context.get()));

    cairo_t* cr = drawing_->context.get();
    cairo_set_source_rgba(cr, clampedComponent(background.red), clampedComponent(background.green),
                          clampedComponent(background.blue), clampedComponent(background.alpha));
    cairo_rectangle(cr, 0, 0, static_cast<double>(width), static_cast<double>(height));
    cairo_fill(cr);
}

PageCanvas::~PageCanvas() = default;

SheetRect PageCanvas::toDevice(const SheetRect& rect) const {
    return {rect.x, static_cast<double>(bitmap_.height) - rect.y - rect.height, rect.width,
            rect.height};
}

double drawingScale(std::int64_t width, std::int64_t height, const SheetRect& frame, SheetFit fit) {
    if (width < 1 || height < 1) return 0;
    const double scaleX = frame.width / static_cast<double>(width);
    const double scaleY = frame.height / static_cast<double>(height);
    const double factor =
        fit == SheetFit::fit ? std::min(scaleX, scaleY) : std::max(scaleX, scaleY);
    return factor > 0 && std::isfinite(factor) ? factor : 0;
}

void PageCanvas::drawImage(const Bitmap& image, const SheetRect& imageFrame, SheetFit fit) {
    const double factor = drawingScale(image.width, image.height, imageFrame, fit);
    if (factor == 0) return;
    const double width = static_cast<double>(image.width);
    const double height = static_cast<double>(image.height);

    const SheetRect frame = toDevice(imageFrame);
    const double left = frame.x + (frame.width - width * factor) / 2;
    const double top = frame.y + (frame.height - height * factor) / 2;
    // A picture made at the size it is drawn at is put down without scaling, where a scaled one
    // would land: a page is the same whether its pictures were reduced before or while drawn.
    const bool asItIs =
        std::abs(width * factor - width) <= 1 && std::abs(height * factor - height) <= 1;

    CairoSurface source = surfaceOver(image);
    if (cairo_surface_status(source.get()) != CAIRO_STATUS_SUCCESS) return;

    cairo_t* cr = drawing_->context.get();
    cairo_save(cr);
    cairo_rectangle(cr, frame.x, frame.y, frame.width, frame.height);
    cairo_clip(cr);
    if (asItIs) {
        cairo_set_source_surface(cr, source.get(), left, top);
    } else {
        cairo_translate(cr, left, top);
        cairo_scale(cr, factor, factor);
        cairo_set_source_surface(cr, source.get(), 0, 0);
        cairo_identity_matrix(cr);
    }
    cairo_pattern_t* pattern = cairo_get_source(cr);
    // GOOD filters with a box of the right size when shrinking and bilinearly when
    // enlarging. BEST costs six times as much (about 17 ms against 3 ms for a contact-sheet
    // cell) and differs visibly only on synthetic patterns such as zone plates.
    cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD);
    // Padding keeps the picture's own edge pixels at its border instead of fading them into
    // transparency, and fills the fraction of a pixel a picture put down as it is may leave.
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    cairo_rectangle(cr, left, top, width * factor, height * factor);
    cairo_fill(cr);
    cairo_restore(cr);
}

const Bitmap& PageCanvas::pixels() const {
    if (drawing_->surface) cairo_surface_flush(drawing_->surface.get());
    return bitmap_;
}

Bitmap PageCanvas::finish() {
    CairoContext& context = drawing_->context;
    CairoSurface& surface = drawing_->surface;
    const cairo_status_t status = context ? cairo_status(context.get()) : CAIRO_STATUS_NULL_POINTER;
    if (surface) cairo_surface_flush(surface.get());
    context.reset();
    surface.reset();
    if (status != CAIRO_STATUS_SUCCESS) throw drawingError(status);
    return std::move(bitmap_);
}

}  // namespace tessel::detail
