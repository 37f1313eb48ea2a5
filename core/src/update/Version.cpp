#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "tessel/Updater.hpp"

#include "update/UnicodeNumeric.hpp"

namespace tessel::Updater {
namespace {

// The numbers of a version, or nothing when it is not a version at all. Components that are
// numeric but not a plain ASCII number within 64 bits (a vulgar fraction, other scripts'
// digits, an overflowing number) are dropped, not read as zero: the later components move up.
std::optional<std::vector<std::int64_t>> versionNumbers(std::string_view text) {
    std::vector<std::int64_t> numbers;
    std::size_t start = 0;
    while (true) {
        const std::size_t dot = text.find('.', start);
        const std::string_view component = text.substr(
            start, dot == std::string_view::npos ? std::string_view::npos : dot - start);
        if (component.empty() || !detail::isAllUnicodeNumeric(component)) return std::nullopt;
        std::int64_t value = 0;
        const char* end = component.data() + component.size();
        const auto [stop, error] = std::from_chars(component.data(), end, value);
        if (error == std::errc{} && stop == end) numbers.push_back(value);
        if (dot == std::string_view::npos) break;
        start = dot + 1;
    }
    return numbers;
}

}  // namespace

bool isNewer(std::string_view candidate, std::string_view than) {
    const auto a = versionNumbers(candidate);
    const auto b = versionNumbers(than);
    if (!a || !b) return false;
    const std::size_t length = std::max(a->size(), b->size());
    for (std::size_t i = 0; i < length; ++i) {
        const std::int64_t x = i < a->size() ? (*a)[i] : 0;
        const std::int64_t y = i < b->size() ? (*b)[i] : 0;
        if (x != y) return x > y;
    }
    return false;
}

}  // namespace tessel::Updater
