#pragma once
/// tessel-sheet's feedback on the desktop: freedesktop notifications over D-Bus
/// (`org.freedesktop.Notifications`) for a run started from a file manager, with no terminal
/// to print to.

#include <chrono>
#include <memory>

#include "RunFeedback.hpp"

namespace tessel::cli {

/// Shows a run as one notification, replaced in place as the run goes on: the progress of a
/// large selection (a percentage and what is being done), then "Created a contact sheet." or
/// "Created N contact sheet pages." with the actions "Open" (also the notification's default
/// action) and "Show in Folder", or the failure's own text. Without a session bus, or when
/// nothing answers on `org.freedesktop.Notifications`, it shows nothing and costs nothing.
class DesktopNotifications final : public RunFeedback {
public:
    /// Connects to the session bus, if there is one.
    DesktopNotifications();
    ~DesktopNotifications() override;
    DesktopNotifications(const DesktopNotifications&) = delete;
    DesktopNotifications& operator=(const DesktopNotifications&) = delete;

    /// Shown only for a selection of at least `kProgressFromImages` images, at most four
    /// times a second.
    void progress(Stage stage, std::int64_t done, std::int64_t total) override;
    void created(const std::vector<std::filesystem::path>& files,
                 const std::optional<std::filesystem::path>& unwritable,
                 const std::string& leftOut) override;
    void failed(const std::string& message) override;

    /// After `created`: stays to carry out the notification's actions until it is closed or
    /// `patience` has passed, and then closes it, so that no button is left that nobody
    /// answers. Returns at once when there is nothing to wait for.
    void answerActions(std::chrono::milliseconds patience);

    /// The smallest selection whose progress is shown; smaller ones finish in moments.
    static constexpr std::int64_t kProgressFromImages = 20;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tessel::cli
