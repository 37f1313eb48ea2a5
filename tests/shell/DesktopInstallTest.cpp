// `cmake --install` into a scratch prefix, checked by the desktop's own validators.

#include <QFile>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <QXmlStreamReader>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tessel/Inspection.hpp"
#include "tessel/Updater.hpp"

#include "Launches.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using ::testing::HasSubstr;
using ::testing::Not;

// One installation for the whole suite; installing is the slow part.
class Installed : public testing::Test {
protected:
    static void SetUpTestSuite() {
        launches = std::make_unique<Launches>();
        prefix = launches->root() / "prefix";
        installed =
            launches->run(QStringLiteral(CMAKE_PROGRAM),
                          {QStringLiteral("--install"), QStringLiteral(TESSEL_BUILD_DIR),
                           QStringLiteral("--prefix"), QString::fromStdString(prefix.string())});
    }
    static void TearDownTestSuite() { launches.reset(); }

    // Runs a validator on an installed file; fails the test when the tool is missing.
    static Finished validate(const char* tool, const QStringList& arguments) {
        const QString program = QStandardPaths::findExecutable(QString::fromLatin1(tool));
        if (program.isEmpty()) {
            ADD_FAILURE() << tool << " is missing (scripts/install-deps.sh installs it)";
            return {};
        }
        return launches->run(program, arguments);
    }

    static QString file(const char* relative) {
        return QString::fromStdString((prefix / relative).string());
    }

    static inline std::unique_ptr<Launches> launches;
    static inline fs::path prefix;
    static inline Finished installed;
};

std::map<std::string, std::string> desktopEntry(const fs::path& file) {
    std::map<std::string, std::string> keys;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        if (const auto equals = line.find('=');
            equals != std::string::npos && !line.starts_with('#'))
            keys[line.substr(0, equals)] = line.substr(equals + 1);
    return keys;
}

// Extension to type, as a shared-mime-info package declares its globs ("*.3fr").
std::map<std::string, std::string> mimePackageGlobs(const fs::path& file) {
    std::map<std::string, std::string> globs;
    QFile package(QString::fromStdString(file.string()));
    if (!package.open(QIODevice::ReadOnly)) return globs;
    QXmlStreamReader xml(&package);
    QString type;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) continue;
        if (xml.name() == u"mime-type")
            type = xml.attributes().value(QLatin1String("type")).toString();
        if (xml.name() == u"glob")
            globs
                [xml.attributes().value(QLatin1String("pattern")).toString().mid(2).toStdString()] =
                    type.toStdString();
    }
    return globs;
}

// The desktop entry, the metainfo and the icon are each read below; the programs are run.
TEST_F(Installed, TheDesktopEntryValidatesAndOpensExactlyTheSupportedImages) {
    ASSERT_EQ(installed.status, 0) << installed.output << installed.errors;
    EXPECT_TRUE(fs::is_regular_file(prefix / "bin/tessel-sheet"));
    const Finished result =
        validate("desktop-file-validate", {file("share/applications/com.orvane.Tessel.desktop")});
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
    EXPECT_EQ(result.output + result.errors, "");

    auto entry = desktopEntry(prefix / "share/applications/com.orvane.Tessel.desktop");
    EXPECT_EQ(entry["Name"], "Tessel");
    EXPECT_EQ(entry["Exec"], "tessel %F");
    EXPECT_EQ(entry["Icon"], "com.orvane.Tessel");
    EXPECT_EQ(entry["Categories"], "Graphics;Photography;");
    // The types the desktop knows for the extensions the core reads, no more and no fewer;
    // the camera RAW formats the shared database lacks get theirs from the installed package.
    // KDE's database names several of those image/x-kde-raw, which is listed too.
    const std::map<std::string, std::string> ownTypes =
        mimePackageGlobs(prefix / "share/mime/packages/com.orvane.Tessel.xml");
    const auto own = [&ownTypes](const std::string& name) {
        return std::ranges::any_of(ownTypes, [&](const auto& glob) { return glob.second == name; });
    };
    const QMimeDatabase types;
    std::set<std::string> listed;
    std::stringstream names(entry["MimeType"]);
    for (std::string name; std::getline(names, name, ';');) {
        // Listed by any of their names: image/heic is its own type in some databases and an
        // alias of image/heif in others.
        const QMimeType type = types.mimeTypeForName(QString::fromStdString(name));
        EXPECT_TRUE(type.isValid() || own(name) || name == "image/x-kde-raw") << name;
        listed.insert(type.isValid() ? type.name().toStdString() : name);
    }
    std::set<std::string> expected{"image/x-kde-raw"};
    for (const std::string_view extension : TesselRenderer::supportedExtensions) {
        const QMimeType known = types.mimeTypeForFile(
            QStringLiteral("x.") + QString::fromUtf8(extension), QMimeDatabase::MatchExtension);
        if (known.name().startsWith(u"image/")) expected.insert(known.name().toStdString());
        const auto ours = ownTypes.find(std::string(extension));
        if (ours != ownTypes.end()) expected.insert(ours->second);
        EXPECT_TRUE(known.name().startsWith(u"image/") || ours != ownTypes.end())
            << extension << " has no image type";
    }
    for (const std::string& name : listed) {
        if (types.mimeTypeForName(QString::fromStdString(name)).isValid() || own(name)) {
            EXPECT_TRUE(expected.contains(name)) << name << " is listed for no extension";
        }
    }
    for (const std::string& name : expected) EXPECT_TRUE(listed.contains(name)) << name;
}

// appstreamcli names no error, warning or note (its pedantic note on the capitals of the
// application id, which the id must have, is not shown unless asked for); the media types it
// provides are the desktop entry's.
TEST_F(Installed, TheAppStreamFileValidatesOnItsOwnAndWithTheInstalledTree) {
    const QString metainfo = file("share/metainfo/com.orvane.Tessel.metainfo.xml");
    const Finished alone = validate("appstreamcli", {"validate", "--no-net", metainfo});
    EXPECT_EQ(alone.status, 0) << alone.output << alone.errors;
    // Checks the metainfo against the desktop entry and icon it names.
    const Finished tree = validate("appstreamcli", {"validate-tree", "--no-net", file("")});
    EXPECT_EQ(tree.status, 0) << tree.output << tree.errors;
    for (const Finished& run : {alone, tree})
        for (const char* issue : {"E: ", "W: ", "I: "})
            EXPECT_THAT(run.output + run.errors, Not(HasSubstr(issue)));

    QFile xml(metainfo);
    ASSERT_TRUE(xml.open(QIODevice::ReadOnly));
    std::string provided;
    for (QXmlStreamReader reader(&xml); !reader.atEnd();)
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == u"mediatype")
            provided += reader.readElementText().toStdString() + ";";
    EXPECT_EQ(provided,
              desktopEntry(prefix / "share/applications/com.orvane.Tessel.desktop")["MimeType"]);
}

TEST_F(Installed, HelpVersionAndAWrongOptionNeedNoDisplay) {
    const QString tessel = file("bin/tessel");
    const auto noDisplay = launches->environment(false);
    const Finished version = launches->run(tessel, {"--version"}, launches->root(), noDisplay);
    EXPECT_EQ(version.status, 0) << version.errors;
    EXPECT_EQ(version.output, "tessel " + std::string(Updater::currentVersion()) + "\n");

    const Finished help = launches->run(tessel, {"--help"}, launches->root(), noDisplay);
    EXPECT_EQ(help.status, 0) << help.errors;
    for (const char* part : {"Usage: ", "[FILE...]", "--version"})
        EXPECT_THAT(help.output, HasSubstr(part));

    const Finished wrong = launches->run(tessel, {"--frobnicate"}, launches->root(), noDisplay);
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, "");
    EXPECT_THAT(wrong.errors, HasSubstr("tessel: Unknown option 'frobnicate'."));
}

}  // namespace
