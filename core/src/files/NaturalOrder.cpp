// The natural order of file names: ICU collation for the current locale, numeric and
// case-insensitive, as file browsers sort.

#include <memory>
#include <string_view>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/stringpiece.h>

#include "tessel/ImageFiles.hpp"

namespace tessel {
namespace {

std::unique_ptr<icu::Collator> makeCollator() {
    // The C and POSIX locales map to en_US_POSIX, whose collation is byte order with upper
    // case first; a file browser sorts names the same in any locale without a language, so
    // those get the root collation.
    icu::Locale locale = icu::Locale::getDefault();
    if (std::string_view(locale.getVariant()) == "POSIX") locale = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
    if (U_FAILURE(status) || !collator) {
        status = U_ZERO_ERROR;
        collator.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) return nullptr;
    }
    // Secondary strength ignores case but keeps accents apart; numeric collation compares
    // digit runs by value.
    collator->setStrength(icu::Collator::SECONDARY);
    collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    if (U_FAILURE(status)) return nullptr;
    return collator;
}

}  // namespace

bool naturalLess(std::string_view a, std::string_view b) {
    // A collator is not safe to share between threads, and making one is costly, so each
    // thread keeps its own.
    thread_local const std::unique_ptr<icu::Collator> collator = makeCollator();
    if (!collator) return a < b;
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult result =
        collator->compareUTF8(icu::StringPiece(a.data(), static_cast<int32_t>(a.size())),
                              icu::StringPiece(b.data(), static_cast<int32_t>(b.size())), status);
    if (U_FAILURE(status)) return a < b;
    return result == UCOL_LESS;
}

}  // namespace tessel
