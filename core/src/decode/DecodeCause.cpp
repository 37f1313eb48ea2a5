#include "decode/DecodeCause.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <string_view>
#include <vector>

#include "base/SystemCause.hpp"
#include "decode/Vips.hpp"
#include "formats/exif/ExifReader.hpp"

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

namespace {

// The camera as people call it: the model, with the make before it unless the model names
// it already ("Canon PowerShot G2", "GoPro HERO7 Black").
std::string cameraName(const ExifFacts& facts) {
    const auto trimmed = [](std::string text) {
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
            text.pop_back();
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
            text.erase(0, 1);
        return text;
    };
    std::string model = trimmed(facts.model.value_or(""));
    std::string make = trimmed(facts.make.value_or(""));
    make = make.substr(0, make.find(' '));  // "Eastman Kodak Company" is a Kodak
    if (make.empty() || containsIgnoringCase(model, make)) return model;
    return model.empty() ? make : make + " " + model;
}

}  // namespace

std::string rawCause(RawFailure failure, const std::filesystem::path& file) {
    switch (failure) {
        case RawFailure::empty: return kEmptyFileCause;
        case RawFailure::notRaw: return kNotRawCause;
        case RawFailure::cutOff: return kCutOffCause;
        case RawFailure::damaged: return kDamagedCause;
        case RawFailure::unreadable: return systemCause(EIO);
        case RawFailure::stopped: return "The decoding was stopped.";
        case RawFailure::unsupported: break;
    }
    const std::string camera = cameraName(readImageFile(file));
    if (camera.empty()) return "Tessel does not read this RAW format.";
    return "Tessel does not read the RAW files of this camera (" + camera + ").";
}

}  // namespace tessel::detail
