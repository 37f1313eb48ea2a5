#pragma once
/// Installing an update the user accepted. The model calls it on a background thread.

#include <atomic>

#include "tessel/Updater.hpp"

namespace tessel::app {

class UpdateInstaller {
public:
    virtual ~UpdateInstaller() = default;

    /// Downloads `update`, verifies it and hands the swap of the running application to the
    /// installer script. Returns once the script runs; the application must then quit at
    /// once. Throws on any failure, and once `abandoned` is set (the user quit meanwhile),
    /// before the swap is handed over: nothing is installed. Runs on a background thread and
    /// must not touch the model.
    virtual void install(const UpdateInfo& update, const std::atomic<bool>& abandoned) = 0;

    /// Whether this Tessel's files belong to the system's package manager (a Debian package):
    /// then a new version is only announced, and installed as a new package.
    virtual bool ownedByPackageManager() const { return false; }

protected:
    UpdateInstaller() = default;
    UpdateInstaller(const UpdateInstaller&) = default;
    UpdateInstaller& operator=(const UpdateInstaller&) = default;
};

}  // namespace tessel::app
