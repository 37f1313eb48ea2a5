#include "desktop/FileUris.hpp"

#include <system_error>

#include "desktop/GLibHandles.hpp"

namespace tessel::cli {

std::optional<UriArgument> uriArgument(const std::string& argument) {
    std::error_code error;
    if (std::filesystem::exists(argument, error) || argument.find(":/") == std::string::npos)
        return std::nullopt;
    const GStringPointer scheme(g_uri_parse_scheme(argument.c_str()));
    if (!scheme) return std::nullopt;
    UriArgument result;
    if (g_ascii_strcasecmp(scheme.get(), "file") == 0) {
        const GStringPointer path(g_filename_from_uri(argument.c_str(), nullptr, nullptr));
        if (path) result.localFile = std::filesystem::path(path.get());
    }
    return result;
}

}  // namespace tessel::cli
