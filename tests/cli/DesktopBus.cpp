#include "DesktopBus.hpp"

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <gio/gio.h>
#include <signal.h>
#include <sys/wait.h>

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

const char* const kConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=FOLDER</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

const char* const kInterfaces = R"(<node>
  <interface name="org.freedesktop.Notifications">
    <method name="GetCapabilities"><arg type="as" direction="out"/></method>
    <method name="Notify">
      <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
      <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
      <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/>
      <arg type="u" direction="out"/>
    </method>
    <signal name="NotificationClosed"><arg type="u"/><arg type="u"/></signal>
    <signal name="ActionInvoked"><arg type="u"/><arg type="s"/></signal>
    <signal name="ActivationToken"><arg type="u"/><arg type="s"/></signal>
  </interface>
  <interface name="org.freedesktop.FileManager1">
    <method name="ShowItems">
      <arg type="as" direction="in"/><arg type="s" direction="in"/>
    </method>
  </interface>
</node>)";

}  // namespace

PrivateSessionBus::PrivateSessionBus() {
    std::string configuration = kConfiguration;
    configuration.replace(configuration.find("FOLDER"), 6, folder_.path().string());
    std::ofstream(folder_ / "bus.conf") << configuration;
    const std::string command =
        "dbus-daemon --fork --print-address=1 --print-pid=1 --config-file=" +
        (folder_ / "bus.conf").string();
    std::FILE* output = ::popen(command.c_str(), "r");
    if (output == nullptr) throw std::runtime_error("dbus-daemon did not start");
    char line[1024];
    if (std::fgets(line, sizeof line, output) != nullptr) address_ = line;
    if (std::fgets(line, sizeof line, output) != nullptr) pid_ = std::atoi(line);
    ::pclose(output);
    while (!address_.empty() && address_.back() == '\n') address_.pop_back();
    if (address_.empty() || pid_ <= 0) throw std::runtime_error("dbus-daemon printed no address");
}

PrivateSessionBus::~PrivateSessionBus() {
    if (pid_ > 0) ::kill(pid_, SIGTERM);
}

struct DesktopOnBus::Service {
    Strings answers;
    mutable std::mutex mutex;
    std::vector<Notification> notifications;
    std::vector<ShownItems> shown;
    std::uint32_t lastId = 0;

    GMainContext* context = g_main_context_new();
    GMainLoop* loop = g_main_loop_new(context, FALSE);
    GDBusConnection* connection = nullptr;
    GDBusNodeInfo* interfaces = g_dbus_node_info_new_for_xml(kInterfaces, nullptr);
    std::thread thread;

    ~Service() {
        g_main_loop_unref(loop);
        g_main_context_unref(context);
        g_dbus_node_info_unref(interfaces);
    }

    void emit(const char* signal, GVariant* parameters) const {
        g_dbus_connection_emit_signal(connection, nullptr, "/org/freedesktop/Notifications",
                                      "org.freedesktop.Notifications", signal, parameters, nullptr);
    }

    void notify(GVariant* parameters, GDBusMethodInvocation* invocation) {
        Notification n;
        const gchar *appName = nullptr, *icon = nullptr, *summary = nullptr, *body = nullptr;
        GVariantIter* actions = nullptr;
        GVariant* hints = nullptr;
        gint32 timeout = 0;
        g_variant_get(parameters, "(&su&s&s&sas@a{sv}i)", &appName, &n.replacesId, &icon, &summary,
                      &body, &actions, &hints, &timeout);
        n.appIcon = icon;
        n.summary = summary;
        n.body = body;
        const gchar* action = nullptr;
        while (g_variant_iter_loop(actions, "&s", &action)) n.actions.emplace_back(action);
        g_variant_iter_free(actions);
        gint32 value = 0;
        if (g_variant_lookup(hints, "value", "i", &value)) n.value = value;
        const gchar* entry = nullptr;
        if (g_variant_lookup(hints, "desktop-entry", "&s", &entry)) n.desktopEntry = entry;
        g_variant_unref(hints);
        {
            const std::lock_guard lock(mutex);
            n.id = n.replacesId != 0 ? n.replacesId : ++lastId;
            notifications.push_back(n);
        }
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", n.id));
        if (n.actions.empty()) return;
        for (const std::string& answer : answers)
            for (std::size_t i = 0; i + 1 < n.actions.size(); i += 2)
                if (n.actions[i] == answer) {
                    emit("ActivationToken", g_variant_new("(us)", n.id, kActivationToken));
                    emit("ActionInvoked", g_variant_new("(us)", n.id, answer.c_str()));
                }
        emit("NotificationClosed", g_variant_new("(uu)", n.id, 2U));
    }

    static void onCall(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                       const gchar* method, GVariant* parameters, GDBusMethodInvocation* invocation,
                       gpointer self) {
        auto& service = *static_cast<Service*>(self);
        const std::string name = method;
        if (name == "GetCapabilities") {
            const gchar* capabilities[] = {"actions", "body", "body-markup", nullptr};
            g_dbus_method_invocation_return_value(invocation, g_variant_new("(^as)", capabilities));
        } else if (name == "Notify") {
            service.notify(parameters, invocation);
        } else {  // ShowItems
            ShownItems items;
            GVariantIter* uris = nullptr;
            const gchar* startupId = nullptr;
            g_variant_get(parameters, "(as&s)", &uris, &startupId);
            const gchar* uri = nullptr;
            while (g_variant_iter_loop(uris, "&s", &uri)) items.uris.emplace_back(uri);
            g_variant_iter_free(uris);
            items.startupId = startupId;
            {
                const std::lock_guard lock(service.mutex);
                service.shown.push_back(items);
            }
            g_dbus_method_invocation_return_value(invocation, nullptr);
        }
    }

    void own(const char* name) const {
        GVariant* reply = g_dbus_connection_call_sync(
            connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", name, 4U), G_VARIANT_TYPE("(u)"),
            G_DBUS_CALL_FLAGS_NONE, 10'000, nullptr, nullptr);
        if (reply == nullptr) throw std::runtime_error(std::string("cannot own ") + name);
        g_variant_unref(reply);
    }
};

DesktopOnBus::DesktopOnBus(const PrivateSessionBus& bus, Strings answers)
    : service_(std::make_unique<Service>()) {
    Service& s = *service_;
    s.answers = std::move(answers);
    // Methods are dispatched in the main context that is the thread's default when they are
    // registered: the service's own, run by its thread.
    g_main_context_push_thread_default(s.context);
    s.connection = g_dbus_connection_new_for_address_sync(
        bus.address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    if (s.connection == nullptr) throw std::runtime_error("cannot connect to the test bus");
    static const GDBusInterfaceVTable vtable{Service::onCall, nullptr, nullptr, {}};
    g_dbus_connection_register_object(s.connection, "/org/freedesktop/Notifications",
                                      s.interfaces->interfaces[0], &vtable, &s, nullptr, nullptr);
    g_dbus_connection_register_object(s.connection, "/org/freedesktop/FileManager1",
                                      s.interfaces->interfaces[1], &vtable, &s, nullptr, nullptr);
    g_main_context_pop_thread_default(s.context);
    s.own("org.freedesktop.FileManager1");
    s.own("org.freedesktop.Notifications");
    s.thread = std::thread([&s] {
        g_main_context_push_thread_default(s.context);
        g_main_loop_run(s.loop);
        g_main_context_pop_thread_default(s.context);
    });
}

DesktopOnBus::~DesktopOnBus() {
    Service& s = *service_;
    // Quit from inside the loop, which may not be running yet.
    g_main_context_invoke(
        s.context,
        [](gpointer loop) {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        s.loop);
    s.thread.join();
    g_dbus_connection_close_sync(s.connection, nullptr, nullptr);
    g_object_unref(s.connection);
}

std::vector<Notification> DesktopOnBus::notifications() const {
    const std::lock_guard lock(service_->mutex);
    return service_->notifications;
}

std::vector<ShownItems> DesktopOnBus::shownItems() const {
    const std::lock_guard lock(service_->mutex);
    return service_->shown;
}

}  // namespace tessel::test
