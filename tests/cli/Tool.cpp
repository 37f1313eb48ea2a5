#include "Tool.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <sys/wait.h>
#include <vips/vips.h>

#include "tessel/SavedLayouts.hpp"

namespace tessel::test {
namespace {

namespace fs = std::filesystem;

[[maybe_unused]] const int vipsStarted = VIPS_INIT("cli_tests");

void check(bool ok) {
    if (!ok) throw std::runtime_error(vips_error_buffer());
}

std::shared_ptr<VipsImage> checked(VipsImage* image) {
    check(image != nullptr);
    return {image, g_object_unref};
}

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

}  // namespace

ToolResult runProgram(const fs::path& folder, const Strings& command, const Strings& environment,
                      const std::string& input) {
    // The streams go through files of a folder of their own, never the one the program runs
    // in, where a file manager's action would see them.
    const testing::TemporaryFolder streams;
    std::ofstream(streams / "in", std::ios::binary) << input;
    std::string line = "cd " + quoted(folder) + " && env";
    for (const std::string& setting : environment) line += " " + quoted(setting);
    // A run that hangs ends with the status 124 instead of hanging the test.
    line += " timeout -k 5 60";
    for (const std::string& word : command) line += " " + quoted(word);
    line += " <" + quoted(streams / "in") + " >" + quoted(streams / "out") + " 2>" +
            quoted(streams / "err");
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, fileBytes(streams / "out"),
            fileBytes(streams / "err")};
}

Strings ToolSandbox::environment() const {
    const std::string home = root().string();
    // Sanitizer builds of the tool would otherwise fail at exit on fontconfig's caches; a
    // setting given by whoever runs the tests wins.
    const char* lsan = std::getenv("LSAN_OPTIONS");
    return {"HOME=" + home,
            "XDG_CACHE_HOME=" + home + "/cache",
            "XDG_DATA_HOME=" + home + "/data",
            "XDG_CONFIG_HOME=" + home + "/config",
            "XDG_RUNTIME_DIR=" + home,
            "DBUS_SESSION_BUS_ADDRESS=unix:path=" + home + "/no-bus",
            "DISPLAY=",
            "WAYLAND_DISPLAY=",
            std::string("LSAN_OPTIONS=") +
                (lsan != nullptr ? lsan
                                 : "print_suppressions=0:suppressions=" TESSEL_LSAN_SUPPRESSIONS)};
}

ToolResult ToolSandbox::run(const Strings& arguments, const std::string& input) const {
    Strings command{TESSEL_SHEET};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProgram(root(), command, environment(), input);
}

void ToolSandbox::saveLayouts(const Strings& names) const {
    std::vector<SavedLayout> layouts;
    for (const std::string& name : names)
        layouts.push_back({"00000000-0000-0000-0000-00000000000" + std::to_string(layouts.size()),
                           name, recipe(SheetPreset::square)});
    fs::create_directories(root() / "data/Orvane Tessel");
    std::ofstream(root() / "data/Orvane Tessel/layouts.json") << encodeSavedLayouts(layouts);
}

Strings lines(const std::string& text) {
    Strings result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) result.push_back(line);
    return result;
}

Strings names(const fs::path& folder) {
    Strings result;
    std::error_code absent;
    for (const auto& entry : fs::directory_iterator(folder, absent))
        result.push_back(entry.path().filename().string());
    std::sort(result.begin(), result.end());
    return result;
}

std::string fileBytes(const fs::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

void writeImage(const fs::path& file, int width, int height, RGB color, int frames) {
    std::vector<std::uint8_t> pixels;
    for (int i = 0; i < width * height * frames; ++i)
        pixels.insert(pixels.end(), color.begin(), color.end());
    const auto image = checked(vips_image_new_from_memory_copy(
        pixels.data(), pixels.size(), width, height * frames, 3, VIPS_FORMAT_UCHAR));
    vips_image_set_int(image.get(), "page-height", height);  // frames stacked: an animation
    check(vips_image_write_to_file(image.get(), file.c_str(), nullptr) == 0);
}

std::vector<std::pair<double, double>> pdfPageSizes(const fs::path& file) {
    QPDF pdf;
    pdf.processFile(file.c_str());
    std::vector<std::pair<double, double>> sizes;
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        const QPDFObjectHandle::Rectangle box = page.getMediaBox().getArrayAsRectangle();
        sizes.emplace_back(box.urx - box.llx, box.ury - box.lly);
    }
    return sizes;
}

Picture readPicture(const fs::path& file, int x, int y) {
    const auto image = checked(vips_image_new_from_file(file.c_str(), nullptr));
    double* values = nullptr;
    int count = 0;
    check(vips_getpoint(image.get(), &values, &count, x, y, nullptr) == 0 && count >= 3);
    const Picture picture{
        vips_image_get_width(image.get()),
        vips_image_get_height(image.get()),
        {static_cast<std::uint8_t>(values[0]), static_cast<std::uint8_t>(values[1]),
         static_cast<std::uint8_t>(values[2])}};
    g_free(values);
    return picture;
}

}  // namespace tessel::test
