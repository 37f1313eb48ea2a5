#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <gmodule.h>
#include <unistd.h>

#include "tessel/Inspection.hpp"

#include "base/Fatal.hpp"
#include "base/Handle.hpp"
#include "decode/Decode.hpp"
#include "decode/Vips.hpp"

namespace tessel::detail {

namespace {

// Libvips reports recoverable decoder trouble (CRC errors, premature ends, libtiff remarks)
// as GLib warnings; the caller hears about real failures through return values, and the
// core never logs, so the messages are dropped rather than printed.
void dropLogMessage(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

// libvips records the install prefix it guesses in VIPSHOME as it starts, unless the variable
// is set already. It starts on whichever thread first needs it, while other threads may be
// reading the environment (libcurl reads its proxy variables), and changing the environment
// then is a data race that can crash. So the variable is set while the program loads, on its
// one thread, to the prefix libvips was built for; a value the user chose is kept.
const bool vipsHomeSettled = [] { return setenv("VIPSHOME", TESSEL_VIPS_PREFIX, 0) == 0; }();

// libvips loads every module in the module folder under its prefix as it starts (HEIF, JPEG
// XL, ImageMagick, PDF, OpenSlide: about 25 ms of libraries and their relocations). Pointed at
// a prefix with no such folder it loads none, and the one the core needs is loaded by hand.
constexpr const char* kPrefixWithoutModules = "/nonexistent/tessel-decoders-on-demand";
std::atomic<bool> decodersOnDemand{false};

// HEIF files are ISO media files: a box of type "ftyp" first.
bool looksLikeIsoMedia(const std::filesystem::path& file) {
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    std::array<char, 8> head{};
    return descriptor && ::pread(descriptor.get(), head.data(), head.size(), 0) == 8 &&
           std::memcmp(head.data() + 4, "ftyp", 4) == 0;
}

// The module registers its loader as it opens and keeps itself loaded from then on. Without
// it (libvips built without HEIF) such files are unreadable, as they are when libvips loads
// its modules itself.
void loadHeifDecoder() {
    (void)g_module_open(TESSEL_VIPS_MODULE_DIR "/vips-heif.so", G_MODULE_BIND_LAZY);
}

// libvips asks each loader whether a file is its own. OpenSlide answers by parsing any
// TIFF-like file as a microscope slide and trusts the sizes it finds there: 1 KB of TIFF made
// it ask for 2.4 GB. No sheet reads slides, so its loaders answer no without looking. (A
// loader without a sniffer would be matched by file name, and it claims ".tif".)
gboolean neverASlide(const char*) { return FALSE; }
gboolean neverASlideSource(VipsSource*) { return FALSE; }

void keepSlideLoadersFromLooking() {
    for (const char* name : {"VipsForeignLoadOpenslideFile", "VipsForeignLoadOpenslideSource"}) {
        const GType type = g_type_from_name(name);
        if (type == 0) continue;  // OpenSlide's module is not loaded
        // The reference is kept: the class, and what is set here, must stay.
        auto* loader = static_cast<VipsForeignLoadClass*>(g_type_class_ref(type));
        loader->is_a = neverASlide;
        loader->is_a_source = neverASlideSource;
    }
}

}  // namespace

void ensureVipsStarted() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (VIPS_INIT("tessel") != 0) fatal("libvips could not be started");
        g_log_set_handler("VIPS",
                          static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE |
                                                      G_LOG_LEVEL_INFO | G_LOG_LEVEL_DEBUG),
                          dropLogMessage, nullptr);
        // Only the trusted photo loaders may touch user files: ImageMagick, PDF, SVG and the
        // scientific formats stay out of reach even when a file's bytes look like them.
        vips_block_untrusted_set(TRUE);
        keepSlideLoadersFromLooking();
        // Renders decode several images at once, each on its own worker thread; libvips's own
        // thread pool would only compete with them for the same cores.
        vips_concurrency_set(1);
        // Inspection and drawing open each file once; a cache would only hold memory and could
        // serve a stale header after the file changed on disk.
        vips_cache_set_max(0);
        vips_leak_set(FALSE);
    });
}

void ensureDecodersFor(const std::filesystem::path& file) {
    ensureVipsStarted();
    if (!decodersOnDemand.load(std::memory_order_relaxed) || !looksLikeIsoMedia(file)) return;
    static std::once_flag once;
    std::call_once(once, loadHeifDecoder);
}

}  // namespace tessel::detail

namespace tessel {

void TesselRenderer::startDecodersOnDemand() {
    // A prefix the user chose is theirs to keep.
    const char* home = std::getenv("VIPSHOME");
    if (home && std::strcmp(home, TESSEL_VIPS_PREFIX) != 0) return;
    if (setenv("VIPSHOME", detail::kPrefixWithoutModules, 1) == 0)
        detail::decodersOnDemand.store(true);
}

}  // namespace tessel
