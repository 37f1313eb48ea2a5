#include "Selection.hpp"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>

#include "tessel/Inspection.hpp"

#include "desktop/FileUris.hpp"

namespace tessel::cli {
namespace {

namespace fs = std::filesystem;

bool hasImageExtension(const fs::path& file) {
    std::string extension = file.extension().string();
    if (extension.empty()) return false;
    extension.erase(0, 1);
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::ranges::find(TesselRenderer::supportedExtensions, extension) !=
           std::end(TesselRenderer::supportedExtensions);
}

std::string files(std::int64_t count, const char* one, const char* many) {
    return count == 1 ? std::string("1 file that ") + one
                      : std::to_string(count) + " files that " + many;
}

}  // namespace

std::vector<std::string> imagesOfSelection(const std::vector<std::string>& arguments,
                                           LeftOut& leftOut) {
    std::vector<std::string> images;
    for (const std::string& argument : arguments) {
        std::string file = argument;
        if (const std::optional<UriArgument> uri = uriArgument(argument)) {
            if (!uri->localFile) {
                ++leftOut.notLocal;
                continue;
            }
            file = uri->localFile->string();
        }
        std::error_code error;
        if (file == "-" || fs::is_directory(file, error) || hasImageExtension(file))
            images.push_back(file);
        else
            ++leftOut.notImages;
    }
    return images;
}

std::string leftOutNote(const LeftOut& leftOut) {
    std::string note;
    if (leftOut.notImages > 0)
        note += files(leftOut.notImages, "is not an image was left out.",
                      "are not images were left out.");
    if (leftOut.notLocal > 0) {
        if (!note.empty()) note += '\n';
        note += files(leftOut.notLocal, "is not on a local disk was left out.",
                      "are not on a local disk were left out.");
    }
    return note;
}

std::string nothingLeftCause(const LeftOut& leftOut) {
    if (leftOut.notImages == 0 && leftOut.notLocal > 0)
        return leftOut.notLocal == 1 ? "The selected file is not on a local disk."
                                     : "The selected files are not on a local disk.";
    return leftOutNote(leftOut);
}

}  // namespace tessel::cli
