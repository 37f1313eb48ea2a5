#include "decode/DecodeCause.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <vector>

#include "decode/Vips.hpp"

namespace tessel::detail {
namespace {

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           }) != text.end();
}

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())))
            line.remove_suffix(1);
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.front())))
            line.remove_prefix(1);
        if (!line.empty()) lines.emplace_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

// A message without the name of the part of libvips that wrote it ("VipsJpeg: ",
// "heif: "), libheif's error code (" (2.104)") and its closing full stop.
std::string plainMessage(std::string line) {
    if (const std::size_t colon = line.find(": ");
        colon != std::string::npos && line.find(' ') > colon)
        line.erase(0, colon + 2);
    if (line.size() > 2 && line.back() == ')') {
        const std::size_t open = line.rfind(" (");
        if (open != std::string::npos &&
            line.find_first_not_of("0123456789.", open + 2) == line.size() - 1)
            line.erase(open);
    }
    while (!line.empty() && (line.back() == '.' || line.back() == ' ')) line.pop_back();
    return line;
}

}  // namespace

std::string decoderCause() {
    const std::string buffer = vips_error_buffer();
    vips_error_clear();
    const std::vector<std::string> lines = linesOf(buffer);
    // How libjpeg, libpng, libheif, libwebp and libvips's own reads say the data stopped.
    constexpr std::array kCutOff{"end of file", "premature end", "unexpected end", "bad seek",
                                 "truncated",   "short read",    "not enough data"};
    for (const std::string& line : lines)
        for (const char* words : kCutOff)
            if (containsIgnoringCase(line, words)) return kCutOffCause;
    // libpng and libgif only warn about damage they stop at, which is never in the buffer.
    if (lines.empty()) return kDamagedCause;
    // The last message is the decoder's own; those before it are libvips's frame around it.
    const std::string message = plainMessage(lines.back());
    if (containsIgnoringCase(message, "unsupported") ||
        containsIgnoringCase(message, "not supported"))
        return "The decoder does not support this variant of the format: " + message + ".";
    return "The decoder could not read it: " + message + ".";
}

std::string unusedFormatCause(const std::string& loaderNickname) {
    std::string format = loaderNickname.substr(0, loaderNickname.find("load"));
    if (format.empty()) return kNotAnImageCause;
    for (char& c : format) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return "Tessel does not read " + format + " files.";
}

}  // namespace tessel::detail
