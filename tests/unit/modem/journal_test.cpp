#include "modem/journal.hpp"
#include "modem_fixture.hpp"
#include "record/journal_file.hpp"

#include <gmock/gmock.h>

using namespace std::chrono_literals;

namespace {

using Kind = JournalRecord::Kind;
using Kinds = std::vector<std::string>;

Kinds kinds(const std::vector<JournalRecord>& records)
{
    Kinds names;
    for (const auto& record : records) {
        names.emplace_back(journal::to_str(record.kind));
    }
    return names;
}

class JournalOfAModem : public ModemFixture {
protected:
    /// A whole run, stopped after `duration`, and what is in the journal then.
    std::vector<JournalRecord> run(std::chrono::milliseconds duration)
    {
        begin();
        clock.at(duration, [this] { modem().stop(); });
        modem().run(Action::RUN);
        end();
        return journal::read().records;
    }

    void network(const std::string& status)
    {
        for (const char* domain : {"+CREG", "+CGREG"}) {
            module.answers(std::string(domain) + "?", std::string(domain) + ": 2," + status);
            module.urc(std::string(domain) + ": " + status);
        }
    }
};

} // namespace

TEST_F(JournalOfAModem, TellsAnOutageSilenceAndAResetInTwoLinesEach)
{
    root.write("/proc/sys/kernel/random/boot_id", "3f2a91c0-1234-5678-9abc-def012345678\n");
    clock.at(5min, [this] { network("0"); });
    clock.at(6min, [this] { network("1"); });
    clock.at(10min, [this] { blackout({1}); });
    clock.at(11min, [this] { blackout({0}); });
    clock.at(15min, [this] { modem().prepare_reset(pb::ModemStatus_ModemResetReason_BACKEND_TIMEOUT); });
    const auto records = run(20min);

    ASSERT_EQ(kinds(records), (Kinds{"START", "CONNECTED", "LOST", "CONNECTED", "OFF", "CONNECTED", "RESET",
                                     "CONNECTED", "OFF"}))
        << log;
    const auto& lost = records[2];
    EXPECT_EQ(lost.from, "CONNECTED");
    EXPECT_EQ(lost.cause, "not registered, no search");
    EXPECT_EQ(lost.boot, "3f2a91c0");
    EXPECT_EQ(lost.run, 1U);
    const auto& again = records[3];
    EXPECT_EQ(again.connections, 2U);
    EXPECT_NEAR(static_cast<double>((again.up - lost.up) / 1s), 60, 5);
    EXPECT_NEAR(static_cast<double>(again.lasted->count()), static_cast<double>((again.up - lost.up) / 1s),
                1);
    EXPECT_THAT(again.road, ::testing::MatchesRegex("REGISTERING .*, ACTIVATE_CONTEXT .*"));
    const auto& silence = records[4];
    EXPECT_EQ(silence.cause, "radio silence");
    EXPECT_EQ(silence.connected, *lost.lasted + *silence.lasted);
    EXPECT_EQ(records[6].reason, "BACKEND_TIMEOUT");
    EXPECT_EQ(records[6].in_a_row, 1U);
    EXPECT_EQ(records[7].in_a_row, 0U);
    EXPECT_EQ(records[8].cause, "the service is being stopped");
}

TEST_F(JournalOfAModem, KeepsTheChainOfResetsAndTheCountsOverRuns)
{
    JournalRecord before;
    before.kind = Kind::RESET;
    before.run = 7;
    before.in_a_row = 2;
    before.resets = 40;
    before.connections = 5;
    before.connected = 1000s;
    root.write(journal::PATH, journal::to_line(before) + "\n" + journal::to_line(before).substr(0, 50));
    module.present(false); // the port never appears
    const auto records = run(10min);

    EXPECT_EQ(kinds(records),
              (Kinds{"RESET", "START", "RESET", "RESET", "RESET", "RESET", "RESET", "FAULT", "OFF"}));
    const auto& fault = records.at(7);
    EXPECT_EQ(fault.cause, "port absent, resets in vain");
    EXPECT_EQ(fault.in_a_row, 2U + 5U);
    EXPECT_EQ(fault.resets, 40U + 5U);
    EXPECT_EQ(fault.run, 8U);
    EXPECT_EQ(fault.connections, 5U);
    EXPECT_EQ(fault.connected, 1000s);
}

TEST_F(JournalOfAModem, ADiskThatTakesNothingIsSaidOnceAndTheUnitConnects)
{
    root.write("/var/lib/celld", "a file in its place");
    EXPECT_TRUE(run(10min).empty());
    EXPECT_EQ(log.count("The journal cannot be written"), 1U) << log;
    EXPECT_EQ(log.count("' to 'Modem::State::CONNECTED'"), 1U);
}

TEST(Journal, AFlappingConnectionIsCountedAndOneLineAMinuteIsWritten)
{
    const TempRoot root;
    const LogCapture log;
    ManualClock clock;
    ModemData data;
    const std::string why = "flap";
    {
        Journal book(data, clock);
        book.started();
        for (int i = 0; i < 1000; ++i) {
            book.changed({ModemState::ACTIVATE_CONTEXT, ModemState::CONNECTED, why});
            clock.advance(2s);
            book.changed({ModemState::CONNECTED, ModemState::REGISTERING, why});
            clock.advance(1s);
            ASSERT_TRUE(book.flush(30s));
        }
        book.changed({ModemState::REGISTERING, ModemState::RESET, why}); // these are never too many
    }
    const auto records = journal::read().records;
    EXPECT_LE(records.size(), Journal::MAX_AT_ONCE + 3000 / 60 + 2);
    EXPECT_EQ(kinds(records).back(), "RESET");
    EXPECT_EQ(records.back().connections, 1000U);
    EXPECT_EQ(records.back().connected, 2000s);
    std::uint64_t seen = 0;
    for (const auto& record : records) {
        seen += record.unwritten + 1;
        EXPECT_LT(record.road.size(), 400U);
    }
    EXPECT_EQ(seen, 1 + 2000 + 1U);
}
