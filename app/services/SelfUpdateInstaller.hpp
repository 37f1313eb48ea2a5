#pragma once
/// The application's installer: `SelfUpdater::install` over the running Tessel.app, through
/// the application's update session.

#include "tessel/HttpSession.hpp"

#include "services/UpdateInstaller.hpp"

namespace tessel::app {

class SelfUpdateInstaller final : public UpdateInstaller {
public:
    /// Downloads through `session`, which must outlive the installer and be safe to use from
    /// a background thread (`CurlHttpSession` is).
    explicit SelfUpdateInstaller(HttpSession& session) : session_(session) {}

    /// `SelfUpdater::install(update, session)` for this process. Throws what it throws: an
    /// `UpdateFailure` (a program outside a Tessel.app is refused with `readOnlyLocation`
    /// before any request), or the platform's error.
    void install(const UpdateInfo& update, const std::atomic<bool>& abandoned) override;

    /// `SelfUpdater::ownedByPackageManager` of this process's program.
    bool ownedByPackageManager() const override;

private:
    HttpSession& session_;
};

}  // namespace tessel::app
