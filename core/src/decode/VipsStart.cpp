#include <cstdlib>
#include <mutex>
#include <string>

#include <gmodule.h>

#include "base/Fatal.hpp"
#include "decode/Decode.hpp"
#include "decode/Vips.hpp"

namespace tessel::detail {

namespace {

// Libvips reports recoverable decoder trouble (CRC errors, premature ends, libtiff remarks)
// as GLib warnings; the caller hears about real failures through return values, and the
// core never logs, so the messages are dropped rather than printed.
void dropLogMessage(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

// libvips loads every module of its folder as it starts. Those for ImageMagick, PDF, OpenSlide
// and JPEG XL pull in dozens of libraries for loaders that stay blocked here, which took a
// third of a run on one small photo. So libvips starts with its prefix pointed where there
// are no modules, and only the HEIF module is loaded, from the folder libvips would have used.
// A prefix the user chose is left alone.
constexpr const char* prefixWithoutModules = "/dev/null";
constexpr const char* modulesUsed[] = {"vips-heif.so"};

int startVips() {
    if (g_getenv("VIPSHOME") != nullptr) return VIPS_INIT("tessel");
    g_setenv("VIPSHOME", prefixWithoutModules, TRUE);
    const int status = VIPS_INIT("tessel");
    g_unsetenv("VIPSHOME");
    if (status != 0) return status;
    for (const char* name : modulesUsed) {
        const std::string path = std::string(TESSEL_VIPS_MODULES) + "/" + name;
        // Registers the module's operations; a missing module leaves its format unsupported,
        // as it would for libvips itself.
        if (GModule* module = g_module_open(path.c_str(), G_MODULE_BIND_LAZY))
            g_module_make_resident(module);
    }
    return 0;
}

}  // namespace

void ensureVipsStarted() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (startVips() != 0) fatal("libvips could not be started");
        g_log_set_handler("VIPS",
                          static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE |
                                                      G_LOG_LEVEL_INFO | G_LOG_LEVEL_DEBUG),
                          dropLogMessage, nullptr);
        // Only the trusted photo loaders may touch user files: ImageMagick, PDF, SVG and the
        // scientific formats stay out of reach even when a file's bytes look like them.
        vips_block_untrusted_set(TRUE);
        // Renders decode several images at once, each on its own worker thread; libvips's own
        // thread pool would only compete with them for the same cores.
        vips_concurrency_set(1);
        // Inspection and drawing open each file once; a cache would only hold memory and could
        // serve a stale header after the file changed on disk.
        vips_cache_set_max(0);
        vips_leak_set(FALSE);
    });
}

}  // namespace tessel::detail
