#pragma once
// cairo and Pango for the drawing files: owners of their handles and the cairo state behind
// a PageCanvas. Only files in draw/ include this header.

#include <cairo.h>
#include <glib.h>
#include <pango/pangocairo.h>

#include "base/Handle.hpp"
#include "draw/PageCanvas.hpp"

namespace tessel::detail {

using CairoSurface = Handle<cairo_surface_t*, cairo_surface_destroy>;
using CairoContext = Handle<cairo_t*, cairo_destroy>;
using CairoFontOptions = Handle<cairo_font_options_t*, cairo_font_options_destroy>;
using PangoFontDescriptionRef = Handle<PangoFontDescription*, pango_font_description_free>;
using PangoContextRef = Handle<PangoContext*, g_object_unref>;
using PangoLayoutRef = Handle<PangoLayout*, g_object_unref>;
using GlibText = Handle<char*, g_free>;

/// The surface over the page's pixels and the context drawing into it.
struct PageCanvas::Drawing {
    CairoSurface surface;
    CairoContext context;
};

}  // namespace tessel::detail
