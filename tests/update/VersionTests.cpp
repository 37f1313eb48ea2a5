#include <gtest/gtest.h>

#include "tessel/Updater.hpp"

namespace {

using tessel::Updater::isNewer;

struct Comparison {
    const char* candidate;
    const char* than;
    bool newer;
};

class IsNewer : public testing::TestWithParam<Comparison> {};

TEST_P(IsNewer, ComparesAsReleasesAreNumbered) {
    const Comparison& c = GetParam();
    EXPECT_EQ(isNewer(c.candidate, c.than), c.newer)
        << '"' << c.candidate << "\" than \"" << c.than << '"';
    // Newer is a strict order: when a is newer than b, b is never newer than a.
    if (c.newer) {
        EXPECT_FALSE(isNewer(c.than, c.candidate));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Examples, IsNewer,
    testing::Values(Comparison{"1.10", "1.9", true}, Comparison{"1.2.1", "1.2", true},
                    Comparison{"2", "1.99.99", true}, Comparison{"1.2", "1.2.0", false},
                    Comparison{"1.2.0", "1.2", false}, Comparison{"1.01", "1.1", false},
                    Comparison{"1.1", "1.01", false}, Comparison{"01.2", "1.1", true},
                    Comparison{"1.2", "1.2", false}, Comparison{"1.3", "1.2", true},
                    Comparison{"0.9", "1", false}));

// A version that is not dot-separated numbers compares as neither newer nor older.
INSTANTIATE_TEST_SUITE_P(
    NotVersions, IsNewer,
    testing::Values(Comparison{"Development", "1.0", false},
                    Comparison{"9.9", "Development", false}, Comparison{"", "1", false},
                    Comparison{"2", "", false}, Comparison{"1..2", "1", false},
                    Comparison{"2", "1..2", false}, Comparison{"1.3.", "1.2", false},
                    Comparison{".1.3", "1.2", false}, Comparison{" 1.3", "1.2", false},
                    Comparison{"1.3 ", "1.2", false}, Comparison{"v1.3", "1.2", false},
                    Comparison{"1.3-beta", "1.2", false}, Comparison{"+2", "1", false},
                    Comparison{"-2", "1", false}, Comparison{"0x10", "1", false},
                    // Ill-formed UTF-8 is not numeric.
                    Comparison{"1.\xff", "1", false}, Comparison{"2.\xd9", "1", false}));

// Numeric characters that are not ASCII digits, and numbers beyond 64 bits, are dropped:
// the following components move up instead of the whole version being refused.
INSTANTIATE_TEST_SUITE_P(
    DroppedComponents, IsNewer,
    testing::Values(Comparison{"1.\u00bd.3", "1.2", true},  // vulgar fraction one half
                    Comparison{"1.\u00bd", "1", false},     // ½ dropped: 1 against 1
                    Comparison{"1.\u0663.3", "1.2", true},  // Arabic-Indic three
                    Comparison{"\u0662", "1", false},       // all dropped: nothing against 1
                    Comparison{"1.2", "1.\u0663", true},    // reference drops too: 1.2 against 1
                    Comparison{"1.\uff13.3", "1.2", true},  // full-width three
                    Comparison{"1.\u216b.3", "1.2", true},  // Roman numeral twelve (Nl)
                    Comparison{"1.\u00b2.3", "1.2", true},  // superscript two (No)
                    Comparison{"1.3\u0663", "1.2", false},  // mixed: 1 against 1.2
                    Comparison{"9223372036854775807", "9223372036854775806", true},
                    Comparison{"9223372036854775808", "0", false},  // beyond 64 bits
                    Comparison{"1.99999999999999999999.3", "1.2", true},
                    Comparison{"1.99999999999999999999", "1", false}));

}  // namespace
