#include "Launches.hpp"

#include <QFile>
#include <QStringList>
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

namespace {

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> parts;
    std::stringstream stream(line);
    for (std::string part; std::getline(stream, part, '\t');) parts.push_back(part);
    return parts;
}

std::vector<std::string> linesStartingWith(const std::string& text, const std::string& tag) {
    std::vector<std::string> lines;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (line == tag || line.starts_with(tag + "\t")) lines.push_back(line);
    return lines;
}

}  // namespace

std::vector<std::string> Running::items() {
    const auto lines = linesStartingWith(output(), "items");
    if (lines.empty()) return {};
    auto parts = fields(lines.back());
    parts.erase(parts.begin());
    return parts;
}

std::vector<std::string> Running::errors() {
    std::vector<std::string> texts;
    for (const std::string& line : linesStartingWith(output(), "error"))
        texts.push_back(line.substr(6));
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
    const auto path = [this](const char* name) {
        return QString::fromStdString((root_ / name).string());
    };
    environment.insert(QStringLiteral("HOME"), path("home"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), path("runtime"));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path("config"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), path("data"));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), path("cache"));
    environment.insert(QStringLiteral("https_proxy"), QStringLiteral("http://127.0.0.1:9"));
    environment.insert(QString::fromLatin1(app::TesselDelegate::openEventLogVariable),
                       QString::fromStdString(log().string()));
    return environment;
}

std::unique_ptr<Running> Launches::start(const QString& program, const QStringList& arguments,
                                         const fs::path& folder,
                                         const QProcessEnvironment& environment) {
    auto process = std::make_unique<QProcess>();
    process->setProgram(program);
    process->setArguments(arguments);
    process->setWorkingDirectory(QString::fromStdString(folder.string()));
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->start();
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
    finished.output = running->output() + process.readAllStandardOutput().toStdString();
    finished.errors = process.readAllStandardError().toStdString();
    return finished;
}

std::string Launches::logText() const { return readFile(log()); }

std::string Launches::logOf(const std::vector<std::string>& paths) const {
    std::string text;
    for (const std::string& path : paths) text += (root_ / path).string() + "\n";
    return text;
}

QString Launches::tessel() { return QStringLiteral(TESSEL_PROGRAM); }
QString Launches::probe() { return QStringLiteral(TESSEL_PROBE_PROGRAM); }

}  // namespace tessel::test
