#include "services/SelfUpdateInstaller.hpp"

#include <filesystem>
#include <system_error>

#include "update/SelfUpdater.hpp"

namespace tessel::app {

void SelfUpdateInstaller::install(const UpdateInfo& update, const std::atomic<bool>& abandoned) {
    SelfUpdater::Installation installation = SelfUpdater::Installation::current();
    installation.abandoned = &abandoned;
    SelfUpdater::install(update, session_, installation);
}

bool SelfUpdateInstaller::ownedByPackageManager() const {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return !error && SelfUpdater::ownedByPackageManager(program);
}

}  // namespace tessel::app
