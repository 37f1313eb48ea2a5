#include "desktop/OpenFiles.hpp"

#include "desktop/GLibHandles.hpp"

namespace tessel::cli {
namespace {

namespace fs = std::filesystem;

// Starting a file manager on demand can take a few seconds; a missing one answers at once.
constexpr int kShowItemsTimeoutMilliseconds = 10'000;

GStringPointer fileURI(const fs::path& file) {
    return GStringPointer(g_filename_to_uri(file.c_str(), nullptr, nullptr));
}

void open(const fs::path& file, const std::string& activationToken) {
    const GStringPointer uri = fileURI(file);
    if (!uri) return;
    const GObjectPointer<GAppLaunchContext> context(g_app_launch_context_new());
    if (!activationToken.empty()) {
        // Wayland's activation token and X11's start-up id: toolkits read either.
        g_app_launch_context_setenv(context.get(), "XDG_ACTIVATION_TOKEN", activationToken.c_str());
        g_app_launch_context_setenv(context.get(), "DESKTOP_STARTUP_ID", activationToken.c_str());
    }
    GErrorSlot error;
    g_app_info_launch_default_for_uri(uri.get(), context.get(), error.out());
}

}  // namespace

void openWithDefaultApplication(const fs::path& file, const std::string& activationToken) {
    open(file, activationToken);
}

void showInFolder(GDBusConnection* bus, const std::vector<fs::path>& files,
                  const std::string& activationToken) {
    if (files.empty()) return;
    GVariantBuilder uris;
    g_variant_builder_init(&uris, G_VARIANT_TYPE("as"));
    for (const fs::path& file : files)
        if (const GStringPointer uri = fileURI(file)) g_variant_builder_add(&uris, "s", uri.get());
    GErrorSlot error;
    const GVariantPointer reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
        "org.freedesktop.FileManager1", "ShowItems",
        g_variant_new("(ass)", &uris, activationToken.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE,
        kShowItemsTimeoutMilliseconds, nullptr, error.out()));
    if (!reply) open(files.front().parent_path(), activationToken);
}

}  // namespace tessel::cli
