#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "utils/recurring_record.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(RecurringRecord, WritesTheFirstAndThenCountsAndForgetsWhenAMinuteIsQuiet)
{
    LogCapture log;
    ManualClock clock;
    RecurringRecord record(ecu::kova::logging::module("celld.test"), LogCapture::Level::ERROR, "bad things",
                           clock);
    for (std::size_t round = 1; round <= 2; ++round) {
        for (int i = 0; i < 4; ++i) {
            record.write("a bad ", "thing");
        }
        clock.advance(59s);
        record.tell_count();
        EXPECT_EQ(log.count("in the last minute"), 3 * (round - 1));
        clock.advance(1s);
        record.tell_count();
        record.tell_count();
        EXPECT_EQ(log.count("3 more bad things in the last minute"), round);
        record.write("a bad ", "thing");
        clock.advance(60s);
        record.write("a bad ", "thing"); // after the minute's count
        EXPECT_EQ(log.count("1 more bad things in the last minute"), 2 * round - 1);
        EXPECT_EQ(log.count("a bad thing"), round);
        clock.advance(60s);
        record.tell_count();
        clock.advance(60s);
        record.tell_count(); // quiet: the next one is news
        EXPECT_EQ(log.count("in the last minute"), 3 * round);
    }
}
