#pragma once
// Launching the built programs as separate processes, each test in a scratch home of its own:
// its own runtime folder (so its own instance socket), settings, data, test log and
// photographs. The update check of a started program goes to a proxy nobody listens on.

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tessel::test {

/// A file's bytes; empty when it cannot be read.
std::string readFile(const std::filesystem::path& file);
/// A file's inode number, 0 when there is none: a file renamed over the old one has a new one.
unsigned long inode(const std::filesystem::path& file);

/// One started program, ended with the object if it still runs.
class Running {
public:
    explicit Running(std::unique_ptr<QProcess> process) : process_(std::move(process)) {}
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    QProcess& process() { return *process_; }
    /// Standard output so far.
    const std::string& output();
    /// The paths of `tessel-probe`'s last "items" line, in list order.
    std::vector<std::string> items();
    /// The error messages `tessel-probe` reported.
    std::vector<std::string> errors();

private:
    std::vector<std::string> lines(const std::string& tag);

    std::unique_ptr<QProcess> process_;
    std::string output_;
};

/// A program run to its end; `status` is -1 when it crashed or did not end within a minute.
struct Finished {
    int status = -1;
    std::string output;
    std::string errors;
};

class Launches {
public:
    Launches();

    /// The scratch folder, links resolved (a started program sees the real path).
    const std::filesystem::path& root() const { return root_; }
    /// root/photos, with a.jpg, b.jpg, c.jpg and d.jpg.
    std::filesystem::path photos() const { return root_ / "photos"; }
    /// The test log the programs write (ORVANE_UI_TEST_OPEN_EVENT_LOG).
    std::filesystem::path log() const { return root_ / "open.log"; }
    std::filesystem::path socket() const { return root_ / "runtime/com.orvane.Tessel.socket"; }

    /// The environment of a started program: offscreen, or without any display at all.
    QProcessEnvironment environment(bool display = true) const;

    /// Starts `program` in `folder` and waits until it runs.
    std::unique_ptr<Running> start(const QString& program, const QStringList& arguments,
                                   const std::filesystem::path& folder,
                                   const QProcessEnvironment& environment);
    std::unique_ptr<Running> start(const QString& program, const QStringList& arguments) {
        return start(program, arguments, root_, environment());
    }
    Finished run(const QString& program, const QStringList& arguments,
                 const std::filesystem::path& folder, const QProcessEnvironment& environment);
    Finished run(const QString& program, const QStringList& arguments) {
        return run(program, arguments, root_, environment());
    }

    std::string logText() const { return readFile(log()); }
    /// `paths` (relative to root) as the log lists them: absolute, one per line.
    std::string logOf(const std::vector<std::string>& paths) const;

    static QString tessel() { return QStringLiteral(TESSEL_PROGRAM); }
    static QString probe() { return QStringLiteral(TESSEL_PROBE_PROGRAM); }

private:
    QTemporaryDir folder_;
    std::filesystem::path root_;
};

}  // namespace tessel::test
