#include "thumbnailcache/ThumbnailNames.hpp"

#include <glib.h>

#include "base/Handle.hpp"

namespace tessel::detail {
namespace {

using GlibString = Handle<gchar*, g_free>;

}  // namespace

std::optional<std::string> fileURI(const std::filesystem::path& file) {
    const GlibString uri(g_filename_to_uri(file.c_str(), nullptr, nullptr));
    if (!uri) return std::nullopt;
    return std::string(uri.get());
}

std::string entryName(const std::string& uri) {
    const GlibString digest(g_compute_checksum_for_string(G_CHECKSUM_MD5, uri.c_str(),
                                                          static_cast<gssize>(uri.size())));
    return std::string(digest.get()) + ".png";
}

}  // namespace tessel::detail
