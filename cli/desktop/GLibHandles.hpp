#pragma once
// Owners of the GLib and GIO handles tessel-sheet's desktop code holds.

#include <memory>

#include <gio/gio.h>

namespace tessel::cli {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
struct GVariantUnref {
    void operator()(GVariant* value) const noexcept { g_variant_unref(value); }
};
struct GMemoryFree {
    void operator()(gpointer memory) const noexcept { g_free(memory); }
};
struct GMainLoopUnref {
    void operator()(GMainLoop* loop) const noexcept { g_main_loop_unref(loop); }
};

/// A reference to a GObject (a connection, a launch context).
template <class T>
using GObjectPointer = std::unique_ptr<T, GObjectUnref>;
/// A reference to a GVariant, such as a D-Bus reply.
using GVariantPointer = std::unique_ptr<GVariant, GVariantUnref>;
/// A string GLib made.
using GStringPointer = std::unique_ptr<gchar, GMemoryFree>;
using GMainLoopPointer = std::unique_ptr<GMainLoop, GMainLoopUnref>;

/// Receives the GError of a call and frees it: `call(..., error.out())`. The desktop code
/// only needs to know that a call failed, which its result says.
class GErrorSlot {
public:
    GErrorSlot() = default;
    GErrorSlot(const GErrorSlot&) = delete;
    GErrorSlot& operator=(const GErrorSlot&) = delete;
    ~GErrorSlot() {
        if (raw_ != nullptr) g_error_free(raw_);
    }
    GError** out() noexcept { return &raw_; }

private:
    GError* raw_ = nullptr;
};

}  // namespace tessel::cli
