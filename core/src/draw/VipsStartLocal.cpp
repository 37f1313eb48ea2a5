// Stand-in until the shared libvips start-up lands; dropped then.
#include <vips/vips.h>

#include <mutex>

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
    });
}

}  // namespace tessel::detail
