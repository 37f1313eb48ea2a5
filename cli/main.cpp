// tessel-sheet: turns image files into contact sheets from the command line.

#include <iostream>

#include <unistd.h>

#include "tessel/Inspection.hpp"

#include "CommandLine.hpp"
#include "SheetRun.hpp"

int main(int argc, char** argv) {
    // This process starts no other program, and no thread exists yet.
    tessel::TesselRenderer::startDecodersOnDemand();
    const tessel::cli::ParsedCommandLine parsed = tessel::cli::parseCommandLine(argc, argv);
    if (!parsed.command) {
        if (parsed.textIsError)
            std::cerr << "tessel-sheet: " << parsed.text
                      << "\nRun tessel-sheet --help for the options.\n";
        else
            std::cout << parsed.text;
        return parsed.exitStatus;
    }
    tessel::cli::Console console{std::cin, std::cout, std::cerr, isatty(STDERR_FILENO) == 1};
    return tessel::cli::run(*parsed.command, console);
}
