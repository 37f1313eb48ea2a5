#include <chrono>
#include <cmath>
#include <memory>
#include <mutex>

#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include "tessel/Inspection.hpp"

namespace tessel::TesselRenderer {

namespace {

// EXIF dates carry no zone: the formatter keeps ICU's default zone, the machine's own, so
// "2024:05:17 14:03:09" is that wall-clock time here. Created once; parsing goes through a
// mutex because a SimpleDateFormat is not documented as safe for concurrent use.
class ExifDateFormatter {
public:
    ExifDateFormatter() {
        UErrorCode status = U_ZERO_ERROR;
        auto made = std::make_unique<icu::SimpleDateFormat>(
            icu::UnicodeString(u"yyyy:MM:dd HH:mm:ss"), icu::Locale("en_US_POSIX"), status);
        if (U_SUCCESS(status)) {
            made->setLenient(false);
            format_ = std::move(made);
        }
    }

    /// Milliseconds since 1970 and how far the text matched.
    std::optional<UDate> parse(const icu::UnicodeString& text, icu::ParsePosition& position) {
        if (!format_) return std::nullopt;
        std::lock_guard lock(mutex_);
        return format_->parse(text, position);
    }

private:
    std::mutex mutex_;
    std::unique_ptr<icu::SimpleDateFormat> format_;
};

ExifDateFormatter& exifDateFormatter() {
    static ExifDateFormatter shared;
    return shared;
}

}  // namespace

std::optional<std::chrono::system_clock::time_point> parseExifDate(std::string_view text) {
    // An EXIF date is 19 characters; anything much longer cannot match.
    if (text.empty() || text.size() > 64) return std::nullopt;
    const icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    icu::ParsePosition position(0);
    const std::optional<UDate> milliseconds = exifDateFormatter().parse(unicode, position);
    if (!milliseconds) return std::nullopt;
    // The whole text must match the pattern, not just a prefix of it.
    if (position.getErrorIndex() >= 0 || position.getIndex() != unicode.length()) {
        return std::nullopt;
    }
    // ICU takes "yyyy" as any number of digits; the clock counts nanoseconds, which reach from
    // 1677 to 2262. A date beyond them is no camera's.
    constexpr auto kLimit = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::system_clock::duration::max());
    if (!(std::abs(*milliseconds) < static_cast<double>(kLimit.count()))) return std::nullopt;
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::milliseconds(static_cast<std::int64_t>(std::llround(*milliseconds)))));
}

}  // namespace tessel::TesselRenderer
