// Stand-in until the shared libvips start-up lands; dropped then.
#include <mutex>

#include <vips/vips.h>

#include "util/Fatal.hpp"
#include "vips/Decode.hpp"

namespace tessel::detail {

void ensureVipsStarted() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (VIPS_INIT("tessel") != 0) fatal("libvips could not be started");
        // Renders decode several images at once on their own threads.
        vips_concurrency_set(1);
        // Nothing is decoded twice in a render; a cache would only hold memory.
        vips_cache_set_max(0);
        // Decoding failures are reported as results; libvips's own warnings stay quiet.
        g_log_set_handler(
            "VIPS", G_LOG_LEVEL_WARNING,
            [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    });
}

}  // namespace tessel::detail
