// The desktop application `tessel`: the shell with its windows.

#include "shell/StandInWindows.hpp"
#include "shell/TesselApp.hpp"

int main(int argc, char** argv) {
    using namespace tessel::app;
    return TesselApp::run(argc, argv,
                          {.mainWindow = standInMainWindow,
                           .settingsWindow = standInSettingsWindow,
                           .imageList = {}});
}
