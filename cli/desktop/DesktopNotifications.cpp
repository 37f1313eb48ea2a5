#include "desktop/DesktopNotifications.hpp"

#include <array>
#include <optional>
#include <string_view>

#include "desktop/GLibHandles.hpp"
#include "desktop/OpenFiles.hpp"

namespace tessel::cli {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
// A notification daemon may be started on demand by the bus, which takes a moment.
constexpr int kCallTimeoutMilliseconds = 5'000;
constexpr auto kProgressInterval = std::chrono::milliseconds(250);
// Reading the images is quick next to drawing the pages.
constexpr std::int64_t kReadingPercent = 10;

enum class Urgency : guchar { low = 0, normal = 1 };

struct Action {
    const char* key;
    const char* label;
};
// "default" is what clicking the notification itself does; servers show no button for it.
constexpr std::array<Action, 3> kSheetActions{
    {{"default", "Open"}, {"open", "Open"}, {"show", "Show in Folder"}}};

// D-Bus strings must be UTF-8; file names need not be.
std::string validText(const std::string& text) {
    const GStringPointer valid(g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size())));
    return valid.get();
}

std::string displayName(const fs::path& path) { return validText(path.string()); }

}  // namespace

struct DesktopNotifications::State {
    GObjectPointer<GDBusConnection> bus;
    // Until a call fails: then nothing answers and the run says nothing more.
    bool answering = true;
    bool bodyMarkup = false;
    bool actions = false;
    guint32 id = 0;  // the one notification, replaced in place; 0 before the first
    guint subscription = 0;

    bool showProgress = false;
    std::int64_t shownPercent = -1;
    Clock::time_point shownAt;

    std::vector<fs::path> files;
    std::string activationToken;
    bool awaitingActions = false;
    GMainLoopPointer loop;
    guint patienceTimer = 0;

    void readCapabilities() {
        GErrorSlot error;
        const GVariantPointer reply(
            g_dbus_connection_call_sync(bus.get(), kService, kPath, kService, "GetCapabilities",
                                        nullptr, G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE,
                                        kCallTimeoutMilliseconds, nullptr, error.out()));
        if (!reply) {
            answering = false;
            return;
        }
        GVariantIter* names = nullptr;
        g_variant_get(reply.get(), "(as)", &names);
        const gchar* name = nullptr;
        while (g_variant_iter_loop(names, "&s", &name)) {
            bodyMarkup = bodyMarkup || std::string_view(name) == "body-markup";
            actions = actions || std::string_view(name) == "actions";
        }
        g_variant_iter_free(names);
    }

    // Shows or replaces the notification. Returns false when nothing answered.
    bool notify(const std::string& summary, const std::string& body, bool withActions,
                std::optional<std::int64_t> percent, Urgency urgency) {
        if (!bus || !answering) return false;
        if (id == 0) readCapabilities();
        if (!answering) return false;

        GVariantBuilder actionList;
        g_variant_builder_init(&actionList, G_VARIANT_TYPE("as"));
        if (withActions && actions)
            for (const Action& action : kSheetActions) {
                g_variant_builder_add(&actionList, "s", action.key);
                g_variant_builder_add(&actionList, "s", action.label);
            }
        GVariantBuilder hints;
        g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
        g_variant_builder_add(&hints, "{sv}", "desktop-entry",
                              g_variant_new_string("com.orvane.Tessel"));
        g_variant_builder_add(&hints, "{sv}", "urgency",
                              g_variant_new_byte(static_cast<guchar>(urgency)));
        if (percent)
            g_variant_builder_add(&hints, "{sv}", "value",
                                  g_variant_new_int32(static_cast<gint32>(*percent)));

        std::string text = validText(body);
        if (bodyMarkup) text = GStringPointer(g_markup_escape_text(text.c_str(), -1)).get();
        GErrorSlot error;
        const GVariantPointer reply(g_dbus_connection_call_sync(
            bus.get(), kService, kPath, kService, "Notify",
            g_variant_new("(susssasa{sv}i)", "Tessel", id, "com.orvane.Tessel",
                          validText(summary).c_str(), text.c_str(), &actionList, &hints, -1),
            G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMilliseconds, nullptr,
            error.out()));
        if (!reply) {
            answering = false;
            return false;
        }
        g_variant_get(reply.get(), "(u)", &id);
        return true;
    }

    void close() {
        GErrorSlot error;
        const GVariantPointer reply(g_dbus_connection_call_sync(
            bus.get(), kService, kPath, kService, "CloseNotification", g_variant_new("(u)", id),
            nullptr, G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMilliseconds, nullptr, error.out()));
    }

    void heard(std::string_view signal, GVariant* parameters) {
        guint32 about = 0;
        const gchar* text = nullptr;
        if (signal == "ActionInvoked" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)"))) {
            g_variant_get(parameters, "(u&s)", &about, &text);
            if (about != id || !awaitingActions) return;
            const std::string_view key(text);
            if (key == "default" || key == "open")
                openWithDefaultApplication(files.front(), activationToken);
            else if (key == "show")
                showInFolder(bus.get(), files, activationToken);
        } else if (signal == "ActivationToken" &&
                   g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)"))) {
            g_variant_get(parameters, "(u&s)", &about, &text);
            if (about == id) activationToken = text;
        } else if (signal == "NotificationClosed" &&
                   g_variant_is_of_type(parameters, G_VARIANT_TYPE("(uu)"))) {
            guint32 reason = 0;
            g_variant_get(parameters, "(uu)", &about, &reason);
            if (about == id && loop) {
                awaitingActions = false;
                g_main_loop_quit(loop.get());
            }
        }
    }

    static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                         const gchar* signal, GVariant* parameters, gpointer state) {
        static_cast<State*>(state)->heard(signal, parameters);
    }

    static gboolean onPatienceOver(gpointer state) {
        auto* self = static_cast<State*>(state);
        self->patienceTimer = 0;
        g_main_loop_quit(self->loop.get());
        return G_SOURCE_REMOVE;
    }
};

DesktopNotifications::DesktopNotifications() : state_(std::make_unique<State>()) {
    GErrorSlot error;
    state_->bus.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error.out()));
    if (!state_->bus) return;
    // A bus that goes away must not end the process before its sheet is written.
    g_dbus_connection_set_exit_on_close(state_->bus.get(), FALSE);
    // Subscribed before the first notification, so that no answer to it can be missed; the
    // signals wait in the main context until `answerActions` runs it.
    state_->subscription = g_dbus_connection_signal_subscribe(
        state_->bus.get(), kService, kService, nullptr, kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        State::onSignal, state_.get(), nullptr);
}

DesktopNotifications::~DesktopNotifications() {
    if (state_->subscription != 0)
        g_dbus_connection_signal_unsubscribe(state_->bus.get(), state_->subscription);
    if (state_->bus) g_dbus_connection_flush_sync(state_->bus.get(), nullptr, nullptr);
}

void DesktopNotifications::progress(Stage stage, std::int64_t done, std::int64_t total) {
    State& s = *state_;
    if (stage == Stage::reading && total >= kProgressFromImages) s.showProgress = true;
    if (!s.showProgress || total <= 0) return;
    const std::int64_t percent = stage == Stage::reading
                                     ? kReadingPercent * done / total
                                     : kReadingPercent + (100 - kReadingPercent) * done / total;
    const Clock::time_point now = Clock::now();
    if (percent == s.shownPercent || (s.shownPercent >= 0 && now - s.shownAt < kProgressInterval))
        return;
    s.shownPercent = percent;
    s.shownAt = now;
    const std::string body = (stage == Stage::reading ? "Reading images: " : "Drawing pages: ") +
                             std::to_string(done) + " of " + std::to_string(total);
    s.notify("Making a contact sheet\u2026", body, false, percent, Urgency::low);
}

void DesktopNotifications::created(const std::vector<fs::path>& files,
                                   const std::optional<fs::path>& unwritable,
                                   const std::string& leftOut) {
    if (files.empty()) return;
    State& s = *state_;
    const std::string summary =
        files.size() == 1 ? std::string("Created a contact sheet.")
                          : "Created " + std::to_string(files.size()) + " contact sheet pages.";
    std::string names = displayName(files.front().filename());
    if (files.size() > 1) names += " to " + displayName(files.back().filename());
    const std::string folder = displayName(files.front().parent_path());
    std::string body = unwritable ? displayName(*unwritable) + " cannot be written, so " + names +
                                        " went to " + folder + "."
                                  : names + " in " + folder;
    if (!leftOut.empty()) body += "\n" + leftOut;
    if (!s.notify(summary, body, true, std::nullopt, Urgency::normal)) return;
    s.files = files;
    s.awaitingActions = s.actions;
}

void DesktopNotifications::failed(const std::string& message) {
    state_->notify("No contact sheet was made", message, false, std::nullopt, Urgency::normal);
}

void DesktopNotifications::answerActions(std::chrono::milliseconds patience) {
    State& s = *state_;
    if (!s.awaitingActions) return;
    s.loop.reset(g_main_loop_new(nullptr, FALSE));
    s.patienceTimer =
        g_timeout_add(static_cast<guint>(patience.count()), State::onPatienceOver, state_.get());
    g_main_loop_run(s.loop.get());
    if (s.patienceTimer != 0) g_source_remove(s.patienceTimer);
    if (s.awaitingActions) {
        // Nobody acted in time: the buttons go with the notification rather than stay
        // without anyone to answer them.
        s.awaitingActions = false;
        s.close();
    }
    s.loop.reset();
}

}  // namespace tessel::cli
