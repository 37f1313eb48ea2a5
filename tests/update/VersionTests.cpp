#include <utility>

#include <gtest/gtest.h>

#include "tessel/Updater.hpp"

namespace {

using tessel::Updater::isNewer;
using Pair = std::pair<const char*, const char*>;

// Numeric characters that are not ASCII digits (½, Arabic-Indic ٣ and ٢, full-width ３, Roman Ⅻ)
// and numbers beyond 64 bits are dropped: the following components move up instead.
TEST(IsNewer, ComparesAsReleasesAreNumbered) {
    const Pair newer[] = {{"1.10", "1.9"},   {"1.2.1", "1.2"}, {"2", "1.99.99"}, {"1.3", "1.2"},
                          {"01.2", "1.1"},   {"1.½.3", "1.2"}, {"1.٣.3", "1.2"}, {"1.2", "1.٣"},
                          {"1.３.3", "1.2"}, {"1.Ⅻ.3", "1.2"}};
    for (const auto& [candidate, than] : newer) {
        EXPECT_TRUE(isNewer(candidate, than)) << candidate << " than " << than;
        // A strict order: when a is newer than b, b is never newer than a.
        EXPECT_FALSE(isNewer(than, candidate)) << than << " than " << candidate;
    }
    EXPECT_TRUE(isNewer("9223372036854775807", "9223372036854775806"));
    EXPECT_TRUE(isNewer("1.18446744073709551616.3", "1.2"));
    EXPECT_FALSE(isNewer("1.18446744073709551616", "1"));
    EXPECT_FALSE(isNewer("9223372036854775808", "0"));
}

// Equal versions (missing trailing components count as 0), and anything that is not
// dot-separated numbers (ill-formed UTF-8, "Development"), compare as neither newer nor older.
TEST(IsNewer, EqualOlderAndNotVersions) {
    const Pair notNewer[] = {
        {"0.9", "1"},    {"1.2", "1.2"},  {"1.2", "1.2.0"}, {"1.2.0", "1.2"},    {"1.01", "1.1"},
        {"1.1", "1.01"}, {"1.½", "1"},    {"٢", "1"},       {"1.3٣", "1.2"},     {"", "1"},
        {"2", ""},       {"1..2", "1"},   {"2", "1..2"},    {"1.3.", "1.2"},     {".1.3", "1.2"},
        {" 1.3", "1.2"}, {"1.3 ", "1.2"}, {"v1.3", "1.2"},  {"1.3-beta", "1.2"}, {"+2", "1"},
        {"-2", "1"},     {"0x10", "1"},   {"1.\xff", "1"},  {"2.\xd9", "1"}};
    for (const auto& [candidate, than] : notNewer)
        EXPECT_FALSE(isNewer(candidate, than)) << candidate << " than " << than;
    EXPECT_FALSE(isNewer("Development", "1.0"));
    EXPECT_FALSE(isNewer("9.9", "Development"));
}

}  // namespace
