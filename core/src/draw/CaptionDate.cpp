#include "draw/CaptionDate.hpp"

#include <memory>
#include <mutex>

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

namespace tessel::detail {
namespace {

struct CaptionDateFormatter {
    std::unique_ptr<icu::DateFormat> format;
    // ICU date formats keep a calendar they change while formatting, so concurrent callers
    // take turns.
    std::mutex mutex;
};

CaptionDateFormatter& captionDateFormatter() {
    static CaptionDateFormatter formatter{
        std::unique_ptr<icu::DateFormat>(icu::DateFormat::createDateInstance(
            icu::DateFormat::kMedium, icu::Locale::getDefault())),
        {}};
    return formatter;
}

}  // namespace

std::string formatCaptionDate(std::chrono::system_clock::time_point time) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    auto& formatter = captionDateFormatter();
    icu::UnicodeString text;
    {
        const std::lock_guard lock(formatter.mutex);
        if (!formatter.format) return {};
        formatter.format->format(static_cast<UDate>(milliseconds), text);
    }
    std::string utf8;
    text.toUTF8String(utf8);
    return utf8;
}

}  // namespace tessel::detail
