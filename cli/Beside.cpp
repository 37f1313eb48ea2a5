#include "Beside.hpp"

#include <stdexcept>
#include <system_error>

#include "tessel/Files.hpp"

namespace tessel::cli {

namespace fs = std::filesystem;

bool canTakeNewFile(const fs::path& folder) {
    // Permission bits alone would not tell: a read-only mount, an ACL or a file system that
    // refuses new files answers only when a file is started. The probe is never published,
    // so nothing is left behind.
    try {
        const NewFile probe(folder / "Contact Sheet.pdf");
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

BesideFolder besideFolder(const std::string& firstImage, const fs::path& pictures) {
    fs::path image = fs::absolute(firstImage).lexically_normal();
    if (!image.has_filename()) image = image.parent_path();
    std::error_code error;
    const fs::path folder = fs::is_directory(image, error) ? image : image.parent_path();
    if (canTakeNewFile(folder)) return {folder, std::nullopt};

    fs::create_directories(pictures, error);
    if (!canTakeNewFile(pictures))
        throw std::runtime_error("Neither " + folder.string() + " nor " + pictures.string() +
                                 " can take a new file.");
    return {pictures, folder};
}

}  // namespace tessel::cli
