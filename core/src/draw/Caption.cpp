// Lines of text (captions, titles, footers): Pango lays out one line, cairo draws it into its
// band.
#include <algorithm>
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "draw/Cairo.hpp"

namespace tessel::detail {
namespace {

// A font size the text layer can represent; sizes that are not positive fall back to the
// size a text layer picks for size 0.
double usableFontSize(double size) {
    constexpr double fallbackSize = 12;
    constexpr double largestSize = 100'000;
    if (!(size > 0) || !std::isfinite(size)) return fallbackSize;
    return std::min(size, largestSize);
}

/// A layout of one unwrapped line on the calling thread's font map (Pango font maps are not
/// shared between threads), with unhinted metrics so widths do not depend on the grid.
PangoLayoutRef makeLayout(cairo_t* cr, const PangoFontDescription* font, std::string_view text) {
    PangoContextRef context(pango_cairo_create_context(cr));
    CairoFontOptions options(cairo_font_options_create());
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context.get(), options.get());
    pango_context_set_round_glyph_positions(context.get(), FALSE);

    PangoLayoutRef layout(pango_layout_new(context.get()));
    pango_layout_set_font_description(layout.get(), font);
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    return layout;
}

double logicalWidth(PangoLayout* layout) {
    PangoRectangle logical{};
    pango_layout_line_get_extents(pango_layout_get_line_readonly(layout, 0), nullptr, &logical);
    return static_cast<double>(logical.width) / PANGO_SCALE;
}

// The longest start of `text`, cut at a character boundary, that still fits `maxWidth` with
// "…" after it, as that whole line's layout. Pango's own ellipsizing is not used: it widens
// the ellipsis to fill the space it was given, so the line's width is no longer the width of
// its text and right or centred alignment would be off by up to a character.
PangoLayoutRef truncatedLine(cairo_t* cr, const PangoFontDescription* font, PangoLayout* whole,
                             std::string_view text, double maxWidth) {
    int count = 0;
    const PangoLogAttr* attributes = pango_layout_get_log_attrs_readonly(whole, &count);
    std::vector<std::size_t> cuts;  // byte offsets of character boundaries, shortest first
    const char* start = pango_layout_get_text(whole);
    const char* at = start;
    for (int i = 0; i < count; ++i, at = g_utf8_next_char(at))
        if (i > 0 && attributes[i].is_cursor_position)
            cuts.push_back(static_cast<std::size_t>(at - start));
    const auto withEllipsis = [&](std::size_t length) {
        std::string line(text.substr(0, length));
        line += "\u2026";
        return makeLayout(cr, font, line);
    };
    // Binary search for the last cut whose line fits; widths grow with the length.
    std::size_t low = 0;
    std::size_t high = cuts.size();
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (logicalWidth(withEllipsis(cuts[middle]).get()) <= maxWidth)
            low = middle + 1;
        else
            high = middle;
    }
    return withEllipsis(low == 0 ? 0 : cuts[low - 1]);
}

}  // namespace

void PageCanvas::drawText(std::string_view text, const SheetRect& band, const TextStyle& style) {
    if (text.empty() || text.size() > INT_MAX) return;
    cairo_t* cr = drawing_->context.get();
    const double fontSize = usableFontSize(style.fontSize);

    PangoFontDescriptionRef font(pango_font_description_new());
    pango_font_description_set_family(font.get(), captionFontFamilies);
    pango_font_description_set_absolute_size(font.get(), fontSize * PANGO_SCALE);

    // Pango takes UTF-8 only; file names may hold any bytes.
    const GlibText valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    PangoLayoutRef layout = makeLayout(cr, font.get(), valid.get());
    const double maxWidth = std::max(1.0, band.width);
    if (logicalWidth(layout.get()) > maxWidth) {
        // A band narrower than the ellipsis itself cannot hold a truncated line; the whole
        // line is drawn and clipped instead.
        PangoLayoutRef ellipsis = makeLayout(cr, font.get(), "\u2026");
        if (logicalWidth(ellipsis.get()) <= maxWidth)
            layout = truncatedLine(cr, font.get(), layout.get(), valid.get(), maxWidth);
    }
    const double width = logicalWidth(layout.get());

    const SheetRect device = toDevice(band);
    double x = device.x + (device.width - width) / 2;
    switch (style.alignment) {
        case SheetCaptionAlignment::left: x = device.x; break;
        case SheetCaptionAlignment::right: x = device.x + device.width - width; break;
        case SheetCaptionAlignment::center: break;
    }
    // The baseline sits half the spare height above the band's bottom edge.
    const double baseline =
        static_cast<double>(bitmap_.height) - (band.y + (band.height - fontSize) / 2);

    const SheetColor color = style.color;
    cairo_save(cr);
    cairo_rectangle(cr, device.x, device.y, device.width, device.height);
    cairo_clip(cr);
    cairo_set_source_rgba(cr, clampedComponent(color.red), clampedComponent(color.green),
                          clampedComponent(color.blue), clampedComponent(color.alpha));
    cairo_move_to(cr, x, baseline);
    pango_cairo_show_layout_line(cr, pango_layout_get_line_readonly(layout.get(), 0));
    cairo_restore(cr);
}

}  // namespace tessel::detail
