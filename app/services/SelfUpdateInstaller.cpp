#include "services/SelfUpdateInstaller.hpp"

#include "update/SelfUpdater.hpp"

namespace tessel::app {

void SelfUpdateInstaller::install(const UpdateInfo& update, const std::atomic<bool>& abandoned) {
    SelfUpdater::Installation installation = SelfUpdater::Installation::current();
    installation.abandoned = &abandoned;
    SelfUpdater::install(update, session_, installation);
}

}  // namespace tessel::app
