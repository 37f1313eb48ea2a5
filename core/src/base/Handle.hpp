#pragma once
// Move-only owners of the cairo and Pango handles used while drawing pages.

#include <utility>

#include <cairo.h>
#include <glib-object.h>
#include <pango/pangocairo.h>

namespace tessel::detail {

/// Owns one reference to a C handle and releases it with `Release`.
template <class T, void (*Release)(T*)>
class Handle {
public:
    Handle() = default;
    explicit Handle(T* handle) : handle_(handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        if (this != &other) {
            reset();
            handle_ = std::exchange(other.handle_, nullptr);
        }
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { reset(); }

    T* get() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }
    void reset() {
        if (handle_) Release(handle_);
        handle_ = nullptr;
    }

private:
    T* handle_ = nullptr;
};

inline void releaseGObject(void* object) { g_object_unref(object); }
template <class T>
void releaseAsGObject(T* object) {
    releaseGObject(object);
}

using CairoSurface = Handle<cairo_surface_t, cairo_surface_destroy>;
using CairoContext = Handle<cairo_t, cairo_destroy>;
using CairoFontOptions = Handle<cairo_font_options_t, cairo_font_options_destroy>;
using PangoFontDescriptionRef = Handle<PangoFontDescription, pango_font_description_free>;
using PangoContextRef = Handle<PangoContext, releaseAsGObject<PangoContext>>;
using PangoLayoutRef = Handle<PangoLayout, releaseAsGObject<PangoLayout>>;

}  // namespace tessel::detail
