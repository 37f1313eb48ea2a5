#include "Launches.hpp"

#include <QFile>
#include <sstream>
#include <stdexcept>

#include <sys/stat.h>

#include "TestImages.hpp"
#include "shell/TesselDelegate.hpp"

namespace tessel::test {

namespace fs = std::filesystem;

std::string readFile(const fs::path& file) {
    QFile in(QString::fromStdString(file.string()));
    return in.open(QIODevice::ReadOnly) ? in.readAll().toStdString() : std::string();
}

unsigned long inode(const fs::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_ino : 0;
}

Running::~Running() {
    if (process_->state() == QProcess::NotRunning) return;
    process_->kill();
    process_->waitForFinished();
}

const std::string& Running::output() {
    output_ += process_->readAllStandardOutput().toStdString();
    return output_;
}

// The tab-separated fields after `tag` of each line starting with it.
std::vector<std::string> Running::lines(const std::string& tag) {
    std::vector<std::string> found;
    std::stringstream stream(output());
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with(tag + "\t") || line == tag) found.push_back(line.substr(tag.size()));
    return found;
}

std::vector<std::string> Running::items() {
    const auto all = lines("items");
    std::vector<std::string> paths;
    if (all.empty()) return paths;
    std::stringstream fields(all.back());
    for (std::string field; std::getline(fields, field, '\t');)
        if (!field.empty()) paths.push_back(field);
    return paths;
}

std::vector<std::string> Running::errors() {
    std::vector<std::string> texts;
    for (const std::string& line : lines("error"))
        texts.push_back(line.substr(line.empty() ? 0 : 1));
    return texts;
}

Launches::Launches() {
    if (!folder_.isValid()) throw std::runtime_error("no scratch folder");
    root_ = fs::canonical(folder_.path().toStdString());
    for (const char* name : {"runtime", "config", "data", "cache", "home", "photos"})
        fs::create_directories(root_ / name);
    fs::permissions(root_ / "runtime", fs::perms::owner_all);
    for (const char* name : {"a.jpg", "b.jpg", "c.jpg", "d.jpg"}) writeImage(photos() / name);
}

QProcessEnvironment Launches::environment(bool display) const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "DBUS_SESSION_BUS_ADDRESS",
          "https_proxy", "HTTPS_PROXY", "no_proxy", "NO_PROXY", "all_proxy", "ALL_PROXY"})
        environment.remove(QString::fromLatin1(name));
    if (display) environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    const auto set = [&](const char* name, const fs::path& value) {
        environment.insert(QString::fromLatin1(name), QString::fromStdString(value.string()));
    };
    set("HOME", root_ / "home");
    set("XDG_RUNTIME_DIR", root_ / "runtime");
    set("XDG_CONFIG_HOME", root_ / "config");
    set("XDG_DATA_HOME", root_ / "data");
    set("XDG_CACHE_HOME", root_ / "cache");
    set("https_proxy", "http://127.0.0.1:9");
    set(app::TesselDelegate::openEventLogVariable, log());
    return environment;
}

std::unique_ptr<Running> Launches::start(const QString& program, const QStringList& arguments,
                                         const fs::path& folder,
                                         const QProcessEnvironment& environment) {
    auto process = std::make_unique<QProcess>();
    process->setWorkingDirectory(QString::fromStdString(folder.string()));
    process->setProcessEnvironment(environment);
    process->start(program, arguments);
    if (!process->waitForStarted()) throw std::runtime_error("cannot start the program");
    return std::make_unique<Running>(std::move(process));
}

Finished Launches::run(const QString& program, const QStringList& arguments, const fs::path& folder,
                       const QProcessEnvironment& environment) {
    auto running = start(program, arguments, folder, environment);
    QProcess& process = running->process();
    Finished finished;
    if (process.waitForFinished(60'000) && process.exitStatus() == QProcess::NormalExit)
        finished.status = process.exitCode();
    finished.output = running->output();
    finished.errors = process.readAllStandardError().toStdString();
    return finished;
}

std::string Launches::logOf(const std::vector<std::string>& paths) const {
    std::string text;
    for (const std::string& path : paths) text += (root_ / path).string() + "\n";
    return text;
}

}  // namespace tessel::test
