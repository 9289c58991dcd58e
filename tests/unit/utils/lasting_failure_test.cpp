#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "utils/lasting_failure.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(LastingFailure, IsToldWhenItBeginsEachHourAndWhenItIsOver)
{
    LogCapture log;
    ManualClock clock;
    LastingFailure failure(ecu::kova::logging::module("celld.test"), LogCapture::Level::ERROR, "the answer",
                           clock);
    failure.succeeded();
    for (int round = 1; round <= 2; ++round) {
        for (int pass = 0; pass < 3700; ++pass) {
            failure.failed("no ", "answer");
            clock.advance(1s);
        }
        failure.succeeded();
        failure.succeeded();
        EXPECT_EQ(log.count("no answer"), 2U * round);
        EXPECT_EQ(log.count("Failed 3600 times in 3600 s: the answer"), 1U * round);
        EXPECT_EQ(log.count("Over after 3700 failures in 3700 s: the answer"), 1U * round);
    }
    const auto told = log.records().size();
    failure.failed("no answer");
    failure.succeeded(); // one that is over at once is one line
    EXPECT_EQ(log.records().size(), told + 1);
}
