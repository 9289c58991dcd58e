#include "history_model.hpp"
#include "utils/utc.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace std::chrono_literals;

namespace {

using Kind = JournalRecord::Kind;

JournalRecord record(Kind kind, const std::string& wall, std::chrono::seconds up, std::uint64_t run,
                     const std::string& boot, std::optional<std::chrono::seconds> lasted = std::nullopt)
{
    JournalRecord made;
    made.kind = kind;
    made.wall = *utils::utc_of(wall);
    made.up = up;
    made.run = run;
    made.boot = boot;
    made.lasted = lasted;
    made.reason = kind == Kind::RESET ? "AT_PORT_TIMEOUT" : "";
    made.cause = "why";
    made.road = kind == Kind::START ? "" : "SEARCHING 5 s";
    return made;
}

/// A unit whose clock starts in 1970 and is set by the network; a reset chain with its trouble code, a power
/// cut, and a boot whose clock was never set.
journal::Contents unit()
{
    journal::Contents contents;
    contents.records = {record(Kind::START, "1970-01-01T00:00:10.000Z", 10s, 1, "aa"),
                        record(Kind::CONNECTED, "2026-11-25T12:01:00.000Z", 60s, 1, "aa", 50s),
                        record(Kind::RESET, "2026-11-25T13:00:00.000Z", 3600s, 1, "aa", 3540s),
                        record(Kind::RESET, "2026-11-25T13:01:00.000Z", 3660s, 1, "aa"),
                        record(Kind::FAULT, "2026-11-25T13:02:00.000Z", 3720s, 1, "aa"),
                        record(Kind::START, "2026-11-25T14:00:00.000Z", 20s, 2, "bb"), // behind a power cut
                        record(Kind::CONNECTED, "2026-11-25T14:01:00.000Z", 80s, 2, "bb", 60s),
                        record(Kind::START, "1970-01-01T00:00:15.000Z", 15s, 3, "cc")};
    auto& last = contents.records.back();
    last.resets = 2;
    last.connections = 2;
    last.connected = 3540s;
    contents.damaged = 1;
    return contents;
}

} // namespace

TEST(History, AWallClockThatJumpsBackDoesNotMakeADuration)
{
    journal::Contents contents;
    contents.records = {record(Kind::RESET, "2026-11-25T12:00:00.000Z", 100s, 1, "-"),
                        record(Kind::CONNECTED, "2026-11-25T11:00:00.000Z", 5s, 2, "-"),
                        record(Kind::LOST, "2026-11-25T15:00:00.000Z", 10s, 2, "-", 5s),
                        record(Kind::CONNECTED, "2026-11-25T10:00:00.000Z", 17s, 2, "-")};
    const auto rows = celldctl::history_of(contents).rows;
    EXPECT_FALSE(rows[0].until_connected); // another run of a kernel without a boot id: nothing is known
    EXPECT_EQ(rows[2].until_connected, 7s);
}

TEST(History, IsATableForPeopleAndAnObjectForPrograms)
{
    const auto history = celldctl::history_of(unit());
    EXPECT_EQ(
        celldctl::history_text(history, 8),
        R"(resets 2, connections 2, connected 59 min 00 s before the last connection, which began 2026-11-25 14:01:00 (UTC)
damaged lines of the journal left out: 1

2026-11-25 12:00:10  started    why, connected after 50 s
2026-11-25 12:01:00  connected  why, after 50 s
                     road: SEARCHING 5 s
2026-11-25 13:00:00  reset      AT_PORT_TIMEOUT: why, had been connected for 59 min 00 s, connected again after 1 h 01 min
                     road: SEARCHING 5 s
2026-11-25 13:01:00  reset      AT_PORT_TIMEOUT: why, connected again after 1 h 00 min
                     road: SEARCHING 5 s
2026-11-25 13:02:00  FAULT      why, connected again after 59 min 00 s
                     road: SEARCHING 5 s
                     trouble code rt/system/status_modem_module_error, behind 2 resets
                       2026-11-25 13:00:00  AT_PORT_TIMEOUT: why
                       2026-11-25 13:01:00  AT_PORT_TIMEOUT: why
2026-11-25 14:00:00  started    why, connected after 1 min 00 s
2026-11-25 14:01:00  connected  why, after 1 min 00 s
                     road: SEARCHING 5 s
1970-01-01 00:00:15? started    why, not connected since
)");
    EXPECT_THAT(celldctl::history_text(history, 1), testing::Not(testing::HasSubstr("connected  why")));
    EXPECT_EQ(celldctl::history_text({}, 5),
              "resets 0, connections 0, connected 0 s (UTC)\nnothing has happened yet\n");

    const auto object = nlohmann::json::parse(celldctl::history_json(history, 4));
    EXPECT_EQ(object["counts"]["connected_since"], "2026-11-25T14:01:00.000Z");
    EXPECT_EQ(object["damaged_lines"], 1);
    ASSERT_EQ(object["records"].size(), 4U);
    EXPECT_EQ(object["records"][0]["chain"][1]["time"], "2026-11-25T13:01:00.000Z");
    EXPECT_EQ(object["records"][0]["until_connected_s"], 3540);
    EXPECT_EQ(object["records"][3]["time_known"], false);
    EXPECT_FALSE(object["records"][3].contains("until_connected_s"));
}
