#include "ToolRun.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tessel::test {

namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

ToolSandbox::ToolSandbox() {
    std::string pattern = (fs::temp_directory_path() / "tessel-sheet-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a scratch folder");
    root_ = pattern;
    fs::create_directories(root_ / "home");
}

ToolSandbox::~ToolSandbox() {
    std::error_code ec;
    fs::remove_all(root_, ec);
}

fs::path ToolSandbox::shortcutsFolder() const {
    return cacheHome() / "com.orvane.Tessel" / "Shortcuts";
}

std::vector<fs::path> ToolSandbox::runFolders() const {
    std::vector<fs::path> folders;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(shortcutsFolder(), ec))
        folders.push_back(entry.path());
    return folders;
}

ToolResult ToolSandbox::run(const std::vector<std::string>& arguments,
                            const std::string& input) const {
    const fs::path in = root_ / ".stdin", out = root_ / ".stdout", err = root_ / ".stderr";
    std::ofstream(in, std::ios::binary) << input;

    std::vector<std::string> environment;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        if (entry.starts_with("HOME=") || entry.starts_with("XDG_CACHE_HOME=") ||
            entry.starts_with("XDG_DATA_HOME="))
            continue;
        environment.push_back(entry);
    }
    // Sanitizer builds of the tool would otherwise fail at exit on fontconfig's caches; a
    // setting given by whoever runs the tests wins.
    if (!std::getenv("LSAN_OPTIONS"))
        environment.push_back("LSAN_OPTIONS=print_suppressions=0:suppressions=" +
                              std::string(TESSEL_LSAN_SUPPRESSIONS));
    environment.push_back("HOME=" + (root_ / "home").string());
    environment.push_back("XDG_CACHE_HOME=" + cacheHome().string());
    environment.push_back("XDG_DATA_HOME=" + dataHome().string());

    std::vector<std::string> argv{TESSEL_SHEET};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char*> argPointers, envPointers;
    for (std::string& a : argv) argPointers.push_back(a.data());
    argPointers.push_back(nullptr);
    for (std::string& e : environment) envPointers.push_back(e.data());
    envPointers.push_back(nullptr);

    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        const int inFd = open(in.c_str(), O_RDONLY);
        const int outFd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int errFd = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (inFd < 0 || outFd < 0 || errFd < 0) _exit(126);
        dup2(inFd, STDIN_FILENO);
        dup2(outFd, STDOUT_FILENO);
        dup2(errFd, STDERR_FILENO);
        if (chdir(root_.c_str()) != 0) _exit(125);
        execve(argPointers[0], argPointers.data(), envPointers.data());
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    ToolResult result;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = readFile(out);
    result.err = readFile(err);
    return result;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) result.push_back(line);
    return result;
}

}  // namespace tessel::test
