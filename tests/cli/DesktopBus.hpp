#pragma once
// A private D-Bus session bus with a notification server and a file manager on it that record
// what tessel-sheet asks of them, as a desktop would answer it.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Tool.hpp"

namespace tessel::test {

/// A `dbus-daemon` of session type with a configuration of its own, so that no service of
/// the machine can be started on it; stopped with the value.
class PrivateSessionBus {
public:
    PrivateSessionBus();
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    const std::string& address() const { return address_; }

private:
    testing::TemporaryFolder folder_;
    std::string address_;
    int pid_ = -1;
};

/// One Notify call as the server received it.
struct Notification {
    std::uint32_t replacesId = 0;
    std::uint32_t id = 0;  ///< the id the server answered
    std::string appIcon, summary, body;
    Strings actions;  ///< keys and labels, in pairs
    std::optional<int> value;
    std::string desktopEntry;
};

/// One ShowItems call.
struct ShownItems {
    Strings uris;
    std::string startupId;
};

/// `org.freedesktop.Notifications` and `org.freedesktop.FileManager1` on `bus`, answered on a
/// thread of their own, which takes markup in a notification's body. A notification that
/// offers actions is answered as a person would, with each of `answers` it offers in turn
/// (each after an activation token), and closed.
class DesktopOnBus {
public:
    static constexpr const char* kActivationToken = "token-for-tessel-sheet";

    DesktopOnBus(const PrivateSessionBus& bus, Strings answers);
    ~DesktopOnBus();
    DesktopOnBus(const DesktopOnBus&) = delete;
    DesktopOnBus& operator=(const DesktopOnBus&) = delete;

    std::vector<Notification> notifications() const;
    std::vector<ShownItems> shownItems() const;

    struct Service;

private:
    std::unique_ptr<Service> service_;
};

}  // namespace tessel::test
