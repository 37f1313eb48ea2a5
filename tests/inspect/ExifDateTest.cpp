// The EXIF capture-date parser: the exact pattern, wall-clock time in the machine's zone,
// and use from several threads.

#include <atomic>
#include <ctime>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tessel/Inspection.hpp"

namespace {

using tessel::TesselRenderer::parseExifDate;

std::chrono::system_clock::time_point localTime(int year, int month, int day, int hour, int minute,
                                                int second) {
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&fields));
}

TEST(ExifDate, ReadsWallClockTimeInTheMachinesZone) {
    EXPECT_EQ(parseExifDate("2023:12:31 23:59:59"), localTime(2023, 12, 31, 23, 59, 59));
    EXPECT_EQ(parseExifDate("2024:05:17 14:03:09"), localTime(2024, 5, 17, 14, 3, 9));
    EXPECT_EQ(parseExifDate("1998:01:01 00:00:00"), localTime(1998, 1, 1, 0, 0, 0));
}

TEST(ExifDate, TextOutsideThePatternGivesNoDate) {
    for (const char* text : {
             "",
             "2023-12-31 23:59:59",   // dashes, as some phones write
             "    :  :     :  :  ",   // blank placeholder of older cameras
             "0000:00:00 00:00:00",   // zero placeholder
             "2023:12:31",            // date only
             "2023:12:31 23:59:59 ",  // trailing text
             "2023:12:31T23:59:59",
             "2023:02:30 10:00:00",  // no such day
             "2023:13:01 10:00:00",  // no such month
         }) {
        EXPECT_EQ(parseExifDate(text), std::nullopt) << "'" << text << "'";
    }
}

TEST(ExifDate, ParsesFromSeveralThreadsAtOnce) {
    const auto expected = localTime(2011, 5, 6, 9, 59, 48);
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int k = 0; k < 500; ++k) {
                if (parseExifDate("2011:05:06 09:59:48") != expected) ++wrong;
                if (parseExifDate("2011-05-06 09:59:48")) ++wrong;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
