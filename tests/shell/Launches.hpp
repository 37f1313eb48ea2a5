#pragma once
// Launching the built programs as separate processes, each test in a scratch home of its own:
// its own runtime folder (so its own instance socket: no test meets a real Tessel or another
// test), settings, data, test log and photographs. The update check of a started program is
// sent to a proxy nobody listens on, so it never leaves the machine.

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
/// A file's inode number, 0 when there is none. A file written anew and renamed over the old
/// one has a new number.
unsigned long inode(const std::filesystem::path& file);

/// One started program and what it printed so far.
class Running {
public:
    explicit Running(std::unique_ptr<QProcess> process) : process_(std::move(process)) {}
    /// Ends the program if it still runs.
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    QProcess& process() { return *process_; }
    /// Standard output so far.
    const std::string& output();
    /// The image list of `tessel-probe`'s last "items" line, in list order.
    std::vector<std::string> items();
    /// The error messages `tessel-probe` reported.
    std::vector<std::string> errors();

private:
    std::unique_ptr<QProcess> process_;
    std::string output_;
};

/// The outcome of a program run to its end.
struct Finished {
    int status = -1;  ///< exit status; -1 when it crashed or did not end within a minute
    std::string output;
    std::string errors;
};

class Launches {
public:
    Launches();

    /// The scratch folder, with symbolic links resolved (a started program sees the real path).
    const std::filesystem::path& root() const { return root_; }
    /// root/photos, with a.jpg, b.jpg, c.jpg and d.jpg.
    std::filesystem::path photos() const { return root_ / "photos"; }
    /// The test log the programs write (ORVANE_UI_TEST_OPEN_EVENT_LOG).
    std::filesystem::path log() const { return root_ / "open.log"; }
    /// Where an instance of this test listens.
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

    /// Runs `program` to its end.
    Finished run(const QString& program, const QStringList& arguments,
                 const std::filesystem::path& folder, const QProcessEnvironment& environment);
    Finished run(const QString& program, const QStringList& arguments) {
        return run(program, arguments, root_, environment());
    }

    /// The test log's text; empty when there is none.
    std::string logText() const;
    /// `paths` (relative to root) as the log lists them: absolute, one per line.
    std::string logOf(const std::vector<std::string>& paths) const;

    /// The installed programs.
    static QString tessel();
    static QString probe();

private:
    QTemporaryDir folder_;
    std::filesystem::path root_;
    QString logVariable_;
};

}  // namespace tessel::test
