#include "record/journal_file.hpp"
#include "record/journal_record.hpp"
#include "support/temp_root.hpp"
#include "utils/utc.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

JournalRecord full()
{
    return {.kind = JournalRecord::Kind::RESET,
            .wall = *utils::utc_of("2024-02-29T23:59:59.999Z"),
            .up = 12345678ms,
            .boot = "3f2a91c0",
            .run = 3,
            .from = "CONNECTED",
            .reason = "BACKEND_TIMEOUT",
            .cause = "backend absent for 15 min",
            .road = "REGISTERING 12 s, CONNECTED 900 s",
            .lasted = 900s,
            .in_a_row = 1,
            .resets = 12,
            .connections = 40,
            .connected = 123456s,
            .unwritten = 2};
}

} // namespace

TEST(JournalRecord, IsTheSameAfterItsLineWhoseChecksumOthersComputeToo)
{
    EXPECT_EQ(journal::from_line(journal::to_line(full())), full());
    EXPECT_EQ(journal::from_line(journal::to_line({})), JournalRecord{});
    EXPECT_TRUE(journal::from_line( // this line's is zlib's
        R"(2026-11-25T17:06:14.828Z OFF up_ms=4391376 boot="360d39f0" run=1 from="CONNECTED" )"
        R"(cause="the service is being stopped" lasted_s=22 in_a_row=0 resets=1 connections=3 connected_s=56 )"
        R"(road="CONNECTED 22 s" crc=71d64b37)"));
}

TEST(JournalRecord, ATornOrChangedLineIsNone)
{
    const auto line = journal::to_line(full());
    for (std::size_t i = 0; i < line.size(); ++i) {
        EXPECT_FALSE(journal::from_line(line.substr(0, i))) << i;
        auto changed = line;
        changed[i] = changed[i] == '0' ? '1' : '0';
        EXPECT_FALSE(journal::from_line(changed)) << i;
    }
}

TEST(JournalRecord, TextFromOutsideNeitherEndsAFieldNorMakesALineLong)
{
    JournalRecord record;
    record.cause = "a \"b\" run=9\nEND \x01\xff " + std::string(395, 'x') + "\xc3\xa4\xc3\xa4\xc3\xa4";
    const auto line = journal::to_line(record);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_LT(line.size(), 600U);
    const auto read = journal::from_line(line);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->run, 0U);
    EXPECT_EQ(read->cause.find("a 'b' run=9 END  \xef\xbf\xbd xxx"), 0U) << read->cause;
    EXPECT_LE(read->cause.size(), 400U);
}

TEST(JournalRecord, TimesAreDatesThatExist)
{
    for (const char* text :
         {"1970-01-01T00:00:00.000Z", "2024-02-29T23:59:59.999Z", "2026-11-25T16:05:01.123Z"}) {
        const auto time = utils::utc_of(text);
        ASSERT_TRUE(time) << text;
        EXPECT_EQ(utils::utc_text(*time), text);
    }
    for (const char* text :
         {"", "2023-02-29T00:00:00.000Z", "2024-13-01T00:00:00.000Z", "2024-01-01 00:00:00.000Z",
          "2024-01-01T24:00:00.000Z", "2024-01-01T00:00:00.00Z", "+024-01-01T00:00:00.000Z"}) {
        EXPECT_FALSE(utils::utc_of(text)) << text;
    }
}

TEST(JournalFile, IsReadOverBothFilesWithoutWhatAPowerCutHasTorn)
{
    const TempRoot root;
    const JournalRecord first = full();
    const JournalRecord last;
    root.write("/var/lib/celld/journal.1",
               journal::to_line(first) + "\n" + journal::to_line(full()).substr(0, 70));
    root.write("/var/lib/celld/journal", "# 3 lines are missing here\n\n" + journal::to_line(last) + "\n" +
                                             std::string(70, '\0') + "\n");
    const auto contents = journal::read();
    EXPECT_EQ(contents.records, (std::vector{first, last}));
    EXPECT_EQ(contents.damaged, 2U);
    EXPECT_FALSE(contents.wrong);

    root.write("/var/lib/celld/journal",
               std::string(10 * journal::LIMIT, 'x') + "\n" + journal::to_line(last) + "\n");
    EXPECT_EQ(journal::read().records, (std::vector{first, last})); // whoever made it that long
}
