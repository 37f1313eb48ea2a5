#include "tessel/HttpSession.hpp"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace tessel {

long HttpSession::download(const std::string& url, const std::filesystem::path& file,
                           std::chrono::milliseconds stallTimeout) {
    errno = 0;
    const auto response = get(url, stallTimeout);
    if (!response) throw HttpTransportError("Could not fetch " + url);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(response->body.data(), static_cast<std::streamsize>(response->body.size()));
    out.close();
    if (!out) {
        const int error = errno != 0 ? errno : EIO;  // streams do not always leave errno set
        throw std::filesystem::filesystem_error("Could not write the download", file,
                                                std::error_code(error, std::generic_category()));
    }
    return response->statusCode;
}

}  // namespace tessel
