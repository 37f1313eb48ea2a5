// tessel-sheet: turns image files into contact sheets from the command line.

#include <chrono>
#include <iostream>
#include <optional>

#include <unistd.h>

#include "tessel/Inspection.hpp"

#include "CommandLine.hpp"
#include "SheetRun.hpp"
#include "desktop/DesktopNotifications.hpp"

namespace {

// How long a finished sheet's notification keeps its "Open" and "Show in Folder" buttons.
constexpr std::chrono::minutes kActionPatience{5};

}  // namespace

int main(int argc, char** argv) {
    const tessel::cli::ParsedCommandLine parsed = tessel::cli::parseCommandLine(argc, argv);
    if (!parsed.command) {
        if (parsed.textIsError)
            std::cerr << "tessel-sheet: " << parsed.text
                      << "\nRun tessel-sheet --help for the options.\n";
        else
            std::cout << parsed.text;
        return parsed.exitStatus;
    }
    const tessel::cli::SheetCommand& command = *parsed.command;
    // Without --notify this process starts no other program, and no thread exists yet. With
    // it, "Open" starts the sheet's viewer, which must inherit the environment as it was.
    if (!command.notify) tessel::TesselRenderer::startDecodersOnDemand();
    std::optional<tessel::cli::DesktopNotifications> notifications;
    if (command.notify) notifications.emplace();

    tessel::cli::Console console{std::cin, std::cout, std::cerr, isatty(STDERR_FILENO) == 1,
                                 notifications ? &*notifications : nullptr};
    const int status = tessel::cli::run(command, console);
    if (notifications) notifications->answerActions(kActionPatience);
    return status;
}
