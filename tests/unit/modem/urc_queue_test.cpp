#include "modem/urc_queue.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

TEST(UrcQueue, TellsAFloodWhenItBeginsAndHowMuchWasLostWhenItIsOver)
{
    LogCapture log;
    UrcQueue queue;
    const AtCommandResponse report(AtCommandResponse::Type::Unsolicited, "+CREG: 1", "");
    for (int flood = 0; flood < 2; ++flood) {
        for (int pass = 0; pass < 3; ++pass) {
            for (std::size_t sent = 0; sent < UrcQueue::MAX_QUEUED + 5; ++sent) {
                queue.push(report);
            }
            EXPECT_EQ(queue.take_all().size(), UrcQueue::MAX_QUEUED);
        }
        EXPECT_EQ(log.records().size(), 2U * flood + 1);
        queue.push(report);
        EXPECT_EQ(queue.take_all().size(), 1U);
        EXPECT_EQ(log.count("dropped were 15"), 1U + flood);
    }
    EXPECT_EQ(log.records().size(), 4U);
    queue.push(report); // which the next drops by its size
    queue.push({AtCommandResponse::Type::Unsolicited, std::string(256 * 1024, 'x'), ""});
    EXPECT_EQ(queue.take_all().size(), 1U);
}
