#include "services/SelfUpdateInstaller.hpp"

#include "update/SelfUpdater.hpp"

namespace tessel::app {

void SelfUpdateInstaller::install(const UpdateInfo& update) {
    SelfUpdater::install(update, session_);
}

}  // namespace tessel::app
