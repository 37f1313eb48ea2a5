#pragma once
/// The command line of `tessel`: images and folders to open, `--help` and `--version`.

#include <filesystem>
#include <variant>
#include <vector>

namespace tessel::app {

/// What one launch asks for.
struct LaunchRequest {
    /// The files and folders named, in order, made absolute against the working directory
    /// (the bytes of each name kept as given; "." and ".." are resolved when they are accepted).
    std::vector<std::filesystem::path> files;
};

/// Reads `argv`. `--help` and `--version` print to standard output and give exit status 0;
/// an unknown option is reported on standard error and gives 2. Needs a QCoreApplication.
/// Returns the request, or the exit status when the launch ends here.
std::variant<LaunchRequest, int> readCommandLine(int argc, const char* const* argv);

}  // namespace tessel::app
