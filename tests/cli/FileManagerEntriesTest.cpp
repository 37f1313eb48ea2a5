// The file managers' "Make Contact Sheet" entries as `cmake --install` writes them, each run
// the way its file manager runs it, on photographs whose names have spaces and letters beyond
// ASCII.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "DesktopBus.hpp"
#include "Tool.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

struct Preset {
    const char* raw;
    const char* title;
};
constexpr Preset kPresets[] = {{"contact", "Contact Sheet"},
                               {"portfolio", "Portfolio"},
                               {"proof", "Proof Grid"},
                               {"square", "Square Grid"}};

/// How a file manager starts an entry: the command, what it adds to the environment, and the
/// folder it runs in.
struct Launch {
    Strings command;
    Strings environment;
    fs::path folder;
};

/// A key of a key file, read by GLib's parser as Nemo and Caja read theirs (and as KDE's
/// reads desktop entries: the same format); empty when it is missing.
std::string keyOf(const fs::path& file, const std::string& group, const char* key) {
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> keys(g_key_file_new(),
                                                                     g_key_file_free);
    if (!g_key_file_load_from_file(keys.get(), file.c_str(), G_KEY_FILE_NONE, nullptr)) return {};
    gchar* value = g_key_file_get_string(keys.get(), group.c_str(), key, nullptr);
    std::string text = value != nullptr ? value : "";
    g_free(value);
    return text;
}

/// A command line split into words by GLib's shell rules, as g_spawn_command_line_async does.
Strings words(const std::string& line) {
    gchar** argv = nullptr;
    Strings result;
    if (g_shell_parse_argv(line.c_str(), nullptr, &argv, nullptr))
        for (gchar** word = argv; *word != nullptr; ++word) result.emplace_back(*word);
    g_strfreev(argv);
    return result;
}

std::string replaced(std::string line, const std::string& token, const std::string& with) {
    const auto at = line.find(token);
    return at == std::string::npos ? line : line.replace(at, token.size(), with);
}

// Dolphin (KIO): the Exec line split as the desktop entry format says, "%F" standing for one
// argument per selected file.
Launch dolphin(const fs::path& share, const Preset& preset, const std::vector<fs::path>& files) {
    Launch launch{{}, {}, share};
    const fs::path entry = share / "kio/servicemenus/com.orvane.Tessel.MakeContactSheet.desktop";
    for (const std::string& word :
         words(keyOf(entry, std::string("Desktop Action ") + preset.raw, "Exec")))
        if (word == "%F")
            for (const fs::path& file : files) launch.command.push_back(file);
        else
            launch.command.push_back(word);
    return launch;
}

// Nemo: "%F" replaced in the line by the paths, each in double quotes (the action's Quote)
// with the quotes in it escaped, and the line run by g_spawn_command_line_async.
Launch nemo(const fs::path& share, const Preset& preset, const std::vector<fs::path>& files) {
    const fs::path action =
        share / "nemo/actions" / ("com.orvane.Tessel." + std::string(preset.raw) + ".nemo_action");
    EXPECT_EQ(keyOf(action, "Nemo Action", "Quote"), "double");
    std::string paths;
    for (const fs::path& file : files)
        paths += (paths.empty() ? "\"" : " \"") + replaced(file.string(), "\"", "\\\"") + "\"";
    return {words(replaced(keyOf(action, "Nemo Action", "Exec"), "%F", paths)), {}, share};
}

// Caja's file-manager actions: "%F" replaced by the paths, each quoted for the shell, and
// the line split and run in the folder of the first file.
Launch caja(const fs::path& share, const Preset& preset, const std::vector<fs::path>& files) {
    const fs::path action = share / "file-manager/actions" /
                            ("com.orvane.Tessel." + std::string(preset.raw) + ".desktop");
    std::string paths;
    for (const fs::path& file : files) {
        gchar* quoted = g_shell_quote(file.c_str());
        paths += (paths.empty() ? "" : " ") + std::string(quoted);
        g_free(quoted);
    }
    return {words(replaced(keyOf(action, "X-Action-Profile local", "Exec"), "%F", paths)),
            {},
            files.front().parent_path()};
}

// GNOME Files: the command the nautilus-python extension starts for the entry, asked of it as
// GNOME Files asks (NautilusMenu.py); none when it offers no menu. A URI in `files` stands for
// a file that is not on a local disk.
Launch nautilus(const fs::path& share, const Preset& preset, const std::vector<fs::path>& files) {
    Strings ask{"/usr/bin/python3", TESSEL_SOURCE_DIR "/tests/cli/NautilusMenu.py",
                share / "nautilus-python/extensions/tessel_make_contact_sheet.py", preset.raw};
    ask.insert(ask.end(), files.begin(), files.end());
    const ToolResult menu = runProgram(share, ask);
    EXPECT_EQ(menu.err, "") << "python3-nautilus is needed (scripts/install-deps.sh)";
    Launch launch{{}, {}, share};
    std::istringstream words(menu.out);
    for (std::string word; std::getline(words, word, '\0');) launch.command.push_back(word);
    return launch;
}

struct FileManager {
    const char* name;
    Launch (*launch)(const fs::path& share, const Preset&, const std::vector<fs::path>&);
};
constexpr FileManager kFileManagers[] = {
    {"Dolphin", dolphin}, {"Nemo", nemo}, {"Caja", caja}, {"GNOME Files", nautilus}};

Strings concat(Strings a, const Strings& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// One installation for the whole suite; installing is the slow part.
class FileManagerEntries : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        sandbox = std::make_unique<ToolSandbox>();
        installed = runProgram(sandbox->root(), {CMAKE_PROGRAM, "--install", TESSEL_BUILD_DIR,
                                                 "--prefix", sandbox->root() / "prefix"});
        share = sandbox->root() / "prefix/share";
    }
    static void TearDownTestSuite() { sandbox.reset(); }

    void SetUp() override { ASSERT_EQ(installed.exitStatus, 0) << installed; }

    static ToolResult run(const Launch& launch, const Strings& before = {}) {
        return runProgram(launch.folder, concat(before, launch.command),
                          concat(sandbox->environment(), launch.environment));
    }

    static inline std::unique_ptr<ToolSandbox> sandbox;
    static inline ToolResult installed;
    static inline fs::path share;
};

/// Photographs of a trip in `folder`: the selection is two of them and a folder of two more.
std::vector<fs::path> photographs(const fs::path& folder) {
    fs::create_directories(folder / "Möwen & Boote");
    const std::vector<fs::path> files{folder / "Strand am Meer.jpg", folder / "Café Ølund 2.png",
                                      folder / "Möwen & Boote"};
    writeImage(files[0], 90, 60, {200, 120, 40});
    writeImage(files[1], 60, 90, {40, 120, 200});
    writeImage(folder / "Möwen & Boote/Möwe 1.jpg", 80, 80, {10, 10, 10});
    writeImage(folder / "Möwen & Boote/Boot 2.jpg", 80, 50, {250, 250, 250});
    return files;
}

TEST_F(FileManagerEntries, EachPresetPutsItsSheetBesideThePhotosAndASecondRunTheNextName) {
    for (const FileManager& fileManager : kFileManagers) {
        SCOPED_TRACE(fileManager.name);
        const fs::path trip = sandbox->root() / fileManager.name / "Ferien auf Åland, Tag 1";
        const std::vector<fs::path> selection = photographs(trip);
        Strings expected = names(trip);
        for (const Preset& preset : kPresets) {
            SCOPED_TRACE(preset.title);
            const fs::path sheet = trip / (std::string(preset.title) + ".pdf");
            EXPECT_EQ(run(fileManager.launch(share, preset, selection)),
                      (ToolResult{0, "Created a contact sheet.\n" + sheet.string() + "\n", ""}));
            EXPECT_EQ(pdfPageSizes(sheet).size(), 1u);  // all four photographs on one page
            expected.push_back(sheet.filename());
        }
        const std::string first = fileBytes(trip / "Contact Sheet.pdf");
        const fs::path second = trip / "Contact Sheet 2.pdf";
        EXPECT_EQ(run(fileManager.launch(share, kPresets[0], selection)).out,
                  "Created a contact sheet.\n" + second.string() + "\n");
        EXPECT_EQ(fileBytes(trip / "Contact Sheet.pdf"), first);
        expected.push_back(second.filename());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(names(trip), expected);
    }
    // A folder selected first takes the sheet inside: the sheet sits with the photographs.
    const fs::path trip = sandbox->root() / "folder first";
    const std::vector<fs::path> selection = photographs(trip);
    EXPECT_EQ(run(dolphin(share, kPresets[2], {selection[2], selection[0]})).out,
              "Created a contact sheet.\n" + (selection[2] / "Proof Grid.pdf").string() + "\n");
}

TEST_F(FileManagerEntries, AFolderThatCannotBeWrittenSendsTheSheetToThePicturesFolder) {
    const fs::path trip = sandbox->root() / "card/DCIM";
    const std::vector<fs::path> selection = photographs(trip);
    fs::create_directories(sandbox->root() / "config");
    std::ofstream(sandbox->root() / "config/user-dirs.dirs")
        << "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n";
    fs::permissions(trip, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    // Root writes anywhere; without the capabilities that let it, it keeps to the owner's
    // permission bits like anyone else.
    const Strings asUser =
        ::geteuid() == 0
            ? Strings{"setpriv", "--bounding-set=-dac_override,-dac_read_search,-fowner", "--"}
            : Strings{};
    if (runProgram(trip, concat(asUser, {"sh", "-c", "test -w ."})).exitStatus != 1)
        GTEST_SKIP() << "no way to make a folder unwritable here (setpriv missing or refused)";

    const PrivateSessionBus bus;
    const DesktopOnBus desktop(bus, {});
    Launch launch = nautilus(share, kPresets[0], selection);
    launch.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.address());
    const ToolResult result = run(launch, asUser);
    const fs::path pictures = sandbox->root() / "Bilder";
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(result.out,
              "Created a contact sheet.\n" + (pictures / "Contact Sheet.pdf").string() + "\n");
    EXPECT_EQ(result.err, "tessel-sheet: " + trip.string() +
                              " cannot take a new file; writing into " + pictures.string() +
                              " instead.\n");
    EXPECT_EQ(names(trip), (Strings{"Café Ølund 2.png", "Möwen & Boote", "Strand am Meer.jpg"}));
    ASSERT_EQ(desktop.notifications().size(), 1u);
    EXPECT_EQ(desktop.notifications()[0].body,
              trip.string() + " cannot be written, so Contact Sheet.pdf went to " +
                  pictures.string() + ".");
    fs::permissions(trip, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(FileManagerEntries, EntriesReadAsTheirDesktopsReadThemAndOfferEveryImageTypeAndFolders) {
    const fs::path dolphinMenu =
        share / "kio/servicemenus/com.orvane.Tessel.MakeContactSheet.desktop";
    // KDE's service menus are desktop entries of KDE's own type "Service", for which the
    // validator allows no MimeType or Actions: those are its only complaints, and as an
    // application entry the file is valid.
    const ToolResult asService = runProgram(share, {"desktop-file-validate", dolphinMenu});
    for (const std::string& line : lines(asService.out))
        EXPECT_NE(line.find("but the type is \"Service\""), std::string::npos) << line;
    std::string asApplication = fileBytes(dolphinMenu);
    asApplication = replaced(asApplication, "Type=Service", "Type=Application");
    const fs::path copy = sandbox->root() / "as-application.desktop";
    std::ofstream(copy) << asApplication;
    EXPECT_EQ(runProgram(share, {"desktop-file-validate", copy}), (ToolResult{0, "", ""}));
    // KIO runs a service menu from a user's own folder only when it is executable.
    EXPECT_NE(fs::status(dolphinMenu).permissions() & fs::perms::owner_exec, fs::perms::none);

    // The types the application opens, folders and earlier sheets, in every entry.
    const std::string types = keyOf(TESSEL_SOURCE_DIR "/app/desktop/com.orvane.Tessel.desktop",
                                    "Desktop Entry", "MimeType") +
                              "inode/directory;application/pdf;";
    EXPECT_EQ(keyOf(dolphinMenu, "Desktop Entry", "MimeType"), types);
    EXPECT_EQ(keyOf(dolphinMenu, "Desktop Entry", "X-KDE-Submenu"), "Make Contact Sheet");
    const fs::path cajaMenu =
        share / "file-manager/actions/com.orvane.Tessel.MakeContactSheet.desktop";
    EXPECT_EQ(keyOf(cajaMenu, "Desktop Entry", "Type"), "Menu");
    EXPECT_EQ(keyOf(cajaMenu, "Desktop Entry", "ItemsList"),
              "com.orvane.Tessel.contact;com.orvane.Tessel.portfolio;com.orvane.Tessel.proof;com."
              "orvane.Tessel.square;");
    for (const Preset& preset : kPresets) {
        SCOPED_TRACE(preset.raw);
        const std::string id = "com.orvane.Tessel." + std::string(preset.raw);
        EXPECT_EQ(keyOf(dolphinMenu, std::string("Desktop Action ") + preset.raw, "Name"),
                  preset.title);
        const fs::path nemoAction = share / "nemo/actions" / (id + ".nemo_action");
        EXPECT_EQ(keyOf(nemoAction, "Nemo Action", "Name"),
                  std::string("Make Contact Sheet: ") + preset.title);
        EXPECT_EQ(keyOf(nemoAction, "Nemo Action", "Mimetypes"), types);
        EXPECT_EQ(keyOf(nemoAction, "Nemo Action", "Selection"), "notnone");
        const fs::path cajaAction = share / "file-manager/actions" / (id + ".desktop");
        EXPECT_EQ(keyOf(cajaAction, "Desktop Entry", "Name"), preset.title);
        EXPECT_EQ(keyOf(cajaAction, "X-Action-Profile local", "MimeTypes"), types);
    }
}

// Select All beside an earlier sheet takes the sheet too: the entry is still offered, and the
// sheet leaves it out and says so.
TEST_F(FileManagerEntries, PhotosSelectedWithAnEarlierSheetMakeASheetOfThePhotos) {
    const PrivateSessionBus bus;
    const DesktopOnBus desktop(bus, {});
    for (const FileManager& fileManager : kFileManagers) {
        SCOPED_TRACE(fileManager.name);
        const fs::path trip = sandbox->root() / "again" / fileManager.name;
        std::vector<fs::path> selection = photographs(trip);
        const fs::path earlier = trip / "Contact Sheet.pdf";
        std::ofstream(earlier) << "%PDF-1.4";
        selection.insert(selection.begin(), earlier);
        Launch launch = fileManager.launch(share, kPresets[0], selection);
        launch.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.address());
        const fs::path sheet = trip / "Contact Sheet 2.pdf";
        EXPECT_EQ(run(launch),
                  (ToolResult{0, "Created a contact sheet.\n" + sheet.string() + "\n",
                              "tessel-sheet: 1 file that is not an image was left out.\n"}));
        EXPECT_EQ(pdfPageSizes(sheet).size(), 1u);
        ASSERT_FALSE(desktop.notifications().empty());
        EXPECT_EQ(desktop.notifications().back().body,
                  "Contact Sheet 2.pdf in " + trip.string() +
                      "\n1 file that is not an image was left out.");
    }
}

// GNOME Files passes what is not on a local disk (a network location) as URIs.
TEST_F(FileManagerEntries, GnomeFilesSaysWhenTheSelectedFilesAreNotOnALocalDisk) {
    EXPECT_EQ(run(nautilus(share, kPresets[0], {"sftp://camera.local/DCIM/IMG_0001.JPG"})),
              (ToolResult{1, "",
                          "Add at least one image.\nThe selected file is not on a local disk.\n"}));
    const fs::path notes = sandbox->root() / "notes.txt";
    std::ofstream(notes) << "not a photograph";
    EXPECT_TRUE(nautilus(share, kPresets[0], {notes}).command.empty()) << "offered for no image";
}

}  // namespace
}  // namespace tessel::test
