#include "shell/CommandLine.hpp"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <string>
#include <system_error>

#include "tessel/Updater.hpp"

namespace tessel::app {
namespace {

namespace fs = std::filesystem;

void print(std::FILE* stream, const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stream);
}

// The parser hands back decoded text; a file name that is not valid UTF-8 would not survive
// the round trip, so each positional value is matched back to its own argument's bytes.
std::vector<fs::path> rawPositionals(const QStringList& values, int argc, const char* const* argv) {
    std::vector<fs::path> files;
    int next = 1;
    for (const QString& value : values) {
        int index = next;
        while (index < argc && QFile::decodeName(argv[index]) != value) ++index;
        if (index < argc) {
            files.emplace_back(argv[index]);
            next = index + 1;
        } else {
            files.emplace_back(QFile::encodeName(value).toStdString());
        }
    }
    return files;
}

}  // namespace

std::variant<LaunchRequest, int> readCommandLine(int argc, const char* const* argv) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Lays out photographs as printable sheets: contact sheets, portfolios, proof grids "
        "and square grids.\n\nImages and folders named here are added to the image list. "
        "When Tessel is already running, they are added to its window."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help and exit."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and exit."));
    parser.addOption(help);
    parser.addOption(version);
    parser.addPositionalArgument(QStringLiteral("files"),
                                 QStringLiteral("Image files or folders to open."),
                                 QStringLiteral("[FILE...]"));

    QStringList arguments;
    for (int i = 0; i < argc; ++i) arguments << QFile::decodeName(argv[i]);
    if (!parser.parse(arguments)) {
        print(stderr, QStringLiteral("tessel: %1\nTry 'tessel --help' for more information.\n")
                          .arg(parser.errorText()));
        return 2;
    }
    if (parser.isSet(help)) {
        // The usage line names the program as a user types it, not by the path it ran from.
        QString text = parser.helpText();
        if (const qsizetype options = text.indexOf(QStringLiteral(" [options]")); options > 0)
            text.replace(0, options, QStringLiteral("Usage: tessel"));
        print(stdout, text);
        return 0;
    }
    if (parser.isSet(version)) {
        print(stdout, QStringLiteral("tessel %1\n")
                          .arg(QString::fromUtf8(std::string(Updater::currentVersion()))));
        return 0;
    }

    LaunchRequest request;
    for (const fs::path& file : rawPositionals(parser.positionalArguments(), argc, argv)) {
        std::error_code failed;
        const fs::path absolute = fs::absolute(file, failed);
        request.files.push_back(failed ? file : absolute);
    }
    return request;
}

}  // namespace tessel::app
