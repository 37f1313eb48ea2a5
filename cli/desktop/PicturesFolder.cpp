#include "desktop/PicturesFolder.hpp"

#include <glib.h>

namespace tessel::cli {

std::filesystem::path picturesFolder() {
    // GLib reads user-dirs.dirs with the desktop's own rules ($HOME expansion, quoting).
    if (const gchar* folder = g_get_user_special_dir(G_USER_DIRECTORY_PICTURES)) return folder;
    return std::filesystem::path(g_get_home_dir()) / "Pictures";
}

}  // namespace tessel::cli
