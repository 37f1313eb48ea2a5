#include <array>
#include <csignal>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "update/Posix.hpp"
#include "update/SelfUpdater.hpp"

extern char** environ;

namespace tessel::SelfUpdater {
namespace {

namespace fs = std::filesystem;

// The argument vector exec wants, pointing into `arguments`, which must outlive it.
std::vector<char*> argumentVector(std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    return argv;
}

// The child's wait status, or -1 when it cannot be waited for.
int waitFor(pid_t child) {
    int status = 0;
    pid_t done = 0;
    do {
        done = ::waitpid(child, &status, 0);
    } while (done < 0 && errno == EINTR);
    return done < 0 ? -1 : status;
}

// Owners of posix_spawn's attribute and file-action objects.
class SpawnAttributes {
public:
    SpawnAttributes() { ::posix_spawnattr_init(&attributes_); }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    posix_spawnattr_t* get() { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

class SpawnFileActions {
public:
    SpawnFileActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    SpawnFileActions(const SpawnFileActions&) = delete;
    SpawnFileActions& operator=(const SpawnFileActions&) = delete;
    posix_spawn_file_actions_t* get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

// Starts `arguments` in a session of its own, with default signal handling, no terminal of
// ours and none of our open files, so that it outlives this process and its terminal. Returns
// once the program runs (posix_spawn reports a failed exec); never waits for it. It stays our
// child only until we quit, which the installer script waits for anyway.
void startDetached(std::vector<std::string> arguments) {
    const std::vector<char*> argv = argumentVector(arguments);
    SpawnAttributes attributes;
    sigset_t none;
    sigset_t reset;
    sigemptyset(&none);
    sigemptyset(&reset);
    sigaddset(&reset, SIGPIPE);
    sigaddset(&reset, SIGHUP);
    SpawnFileActions files;
    int error = ::posix_spawnattr_setflags(
        attributes.get(), POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    if (error == 0) error = ::posix_spawnattr_setsigmask(attributes.get(), &none);
    if (error == 0) error = ::posix_spawnattr_setsigdefault(attributes.get(), &reset);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (error == 0) {
            error = ::posix_spawn_file_actions_addopen(files.get(), fd, "/dev/null", O_RDWR, 0);
        }
    }
    if (error == 0) error = ::posix_spawn_file_actions_addclosefrom_np(files.get(), 3);
    pid_t child = 0;
    if (error == 0) {
        error = ::posix_spawn(&child, argv[0], files.get(), attributes.get(), argv.data(), environ);
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "Could not start " + arguments[0]);
    }
}

}  // namespace

std::string installerScript(pid_t processId) {
    const std::array<std::string, 11> lines{
        "#!/bin/sh",
        "while kill -0 " + std::to_string(processId) + " 2>/dev/null; do sleep 0.2; done",
        R"(if rm -rf "$2.bak" && mv "$2" "$2.bak" 2>/dev/null && cp -a "$1" "$2" 2>/dev/null; then)",
        R"(  rm -rf "$2.bak")",
        "else",
        "  # cp may have left a half-copied bundle behind (a full disk, say). Clear it before",
        "  # restoring, or the backup is skipped and `open` launches the broken app.",
        R"(  rm -rf "$2")",
        R"(  [ -d "$2.bak" ] && mv "$2.bak" "$2")",
        "fi",
        R"(nohup "$2/Contents/bin/tessel" >/dev/null 2>&1 &)",
    };
    std::string script;
    for (const auto& line : lines) {
        if (!script.empty()) script += '\n';
        script += line;
    }
    return script;
}

void launchSwap(const fs::path& newApp, const fs::path& dest, const Installation& installation) {
    const fs::path script = installation.scriptLocation();
    posix::replaceAtomically(script, installerScript(installation.processId));
    startDetached(
        {"/bin/sh", script.string(), fs::absolute(newApp).string(), fs::absolute(dest).string()});
}

void run(const fs::path& executable, const std::vector<std::string>& arguments, UpdateError fail) {
    std::vector<std::string> all{executable.string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const std::vector<char*> argv = argumentVector(all);
    pid_t child = 0;
    // posix_spawn reports a program that cannot be executed as its own result.
    if (const int error = ::posix_spawn(&child, argv[0], nullptr, nullptr, argv.data(), environ);
        error != 0) {
        throw std::system_error(error, std::generic_category(),
                                "Could not start " + executable.string());
    }
    const int status = waitFor(child);
    if (status < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw UpdateFailure(fail, executable.string() + " failed");
    }
}

}  // namespace tessel::SelfUpdater
