#include "exit_status.hpp"
#include "fleet/fleet_views.hpp"
#include "fleet/metrics.hpp"
#include "unit/celldctl/frames.hpp"
#include "unit/platform/observer.hpp"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using namespace celldctl;
using namespace std::chrono_literals;
using namespace std::string_literals;
using State = pb::ModemStatus;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr FleetTime NOON{1'769'860'800s}; // 2026-01-31T12:00:00Z

pb::ModemStatus status(State::ModemState state, State::ModemResetReason reason = State::NONE,
                       const std::string& operator_name = {}, int rssi = 99)
{
    auto message = status_in(state, rssi);
    message.set_reset_reason(reason);
    message.set_operator_name(operator_name);
    return message;
}

/// A fleet to talk to; time goes on by hand.
class Fleet : public testing::Test {
protected:
    Fleet() { model.connection(true, now); }

    void says(const std::string& unit, const com::Message& message, const std::string& topic = STATUS_TOPIC)
    {
        model.take("units/" + unit + "/" + topic, message, now);
    }
    void says(const std::string& unit, const pb::ModemStatus& status) { says(unit, frame_of(status)); }
    void pass(std::chrono::seconds time)
    {
        now += time;
        model.advance(now);
    }
    /// "a: CONNECTED" of each that is new.
    std::vector<std::string> news()
    {
        std::vector<std::string> all;
        for (const auto& one : model.take_news()) {
            all.push_back(one.unit + ": " + one.text);
        }
        return all;
    }
    const UnitRecord& unit(const std::string& id) const { return model.units().at(id); }
    FleetModel model;
    FleetTime now = NOON;
};

using FleetTells = Fleet;
using FleetTable = Fleet;

} // namespace

TEST_F(FleetTells, WhatEachUnitBecomes)
{
    says("a", frame_of(status(State::CONNECTED), true));
    EXPECT_EQ(unit("a").last_seen, std::nullopt) << "nobody knows when that was sent";
    says("b", text_message("1", true), "bridge");
    EXPECT_THAT(news(), ElementsAre("a: CONNECTED"));

    pass(60s);
    says("a", status(State::CONNECTED, State::NONE, "Mobile", 21));
    EXPECT_THAT(news(), IsEmpty()) << "a signal is no change";
    says("a", status(State::CONNECTED, State::AT_PORT_TIMEOUT));
    says("a", status(State::DISABLING, State::AT_PORT_TIMEOUT));
    pass(7s);
    says("a", status(State::ENABLING, State::AT_PORT_TIMEOUT));
    EXPECT_THAT(news(), ElementsAre("a: reset: AT_PORT_TIMEOUT",
                                    "a: DISABLING  (CONNECTED lasted at least 1 min 00 s)",
                                    "a: ENABLING  (DISABLING lasted 7 s)"));
    EXPECT_EQ(unit("a").starts, 1U);

    says("a", text_message("0"), "bridge");
    pass(3600s);
    says("a", text_message("1"), "bridge");
    says("a", status(State::CONNECTED, State::AT_PORT_TIMEOUT));
    EXPECT_THAT(news(), ElementsAre("a: is unreachable: its bridge is down",
                                    "b: is silent: nothing has come for five minutes",
                                    "a: is silent: nothing has come for five minutes",
                                    "a: CONNECTED  (ENABLING lasted 1 h 00 min)", "a: is heard again"));
    pb::ModemStatus will;
    will.set_state(State::UNKNOWN);
    says("a", frame_of(will), "system/modem/nothing-known");
    says("a", will);
    EXPECT_THAT(news(), ElementsAre("a: its daemon is gone"));
    EXPECT_EQ(unit("a").state, State::CONNECTED) << "what it said last stays";

    says("a", text_message("garbage"));
    says("a", text_message("garbage"));
    says("a", text_message("garbage"), "system/modem/hardware");
    EXPECT_THAT(news(), ElementsAre("a: its status does not decode"));
    EXPECT_EQ(unit("a").malformed, 3U);
    says("a", text_message("", true));
    EXPECT_THAT(news(), ElementsAre("a: its status was taken off the broker"));
    EXPECT_THAT(model.units(), SizeIs(1));
}

TEST_F(FleetTells, NoUnitSilentWhileTheBrokerIsAway)
{
    says("a", status(State::CONNECTED));
    says("b", status(State::CONNECTED));
    pass(301s);
    EXPECT_EQ(unit("a").condition, Condition::SILENT);
    says("b", status(State::CONNECTED));
    model.connection(false, now);
    pass(3600s);
    EXPECT_EQ(unit("a").condition, Condition::SILENT);
    EXPECT_EQ(unit("b").condition, Condition::UP);
    model.connection(true, now);
    pass(300s);
    EXPECT_EQ(unit("b").condition, Condition::UP) << "it has had no time to say anything";
    pass(2s);
    EXPECT_EQ(unit("b").condition, Condition::SILENT);
    EXPECT_EQ(silence(unit("b"), now), 3902s);
}

TEST_F(FleetTells, TwoHostsOfOneIdButNotAHostThatBootsOrSendsAgain)
{
    const auto sees_two_after = [&](const std::vector<std::chrono::seconds>& stamps) {
        model = {};
        for (const auto stamp : stamps) {
            now += 10s;
            says("a", frame_of(status(State::CONNECTED), false, stamp));
        }
        return unit("a").two_senders;
    };
    EXPECT_TRUE(sees_two_after({5000s, 100s, 5010s, 110s, 5020s, 120s}));
    EXPECT_FALSE(sees_two_after({5000s, 5010s, 60s, 70s, 80s, 90s, 100s})) << "one boot";
    EXPECT_FALSE(sees_two_after({5000s, 4980s, 4990s, 5000s, 4990s, 5010s, 4950s, 5020s})) << "sent again";
    EXPECT_FALSE(sees_two_after({-5s, 9'000'000'000s, -9'000'000'000s, 1s, 2s})) << "any stamp may come";
    model = {};
    for (const auto* const imei : {"1", "1", "2", "1", "2"}) {
        pb::ModemHardware hardware;
        hardware.set_imei(imei);
        says("a", frame_of(hardware), "system/modem/hardware");
    }
    EXPECT_TRUE(unit("a").two_senders);
    EXPECT_THAT(news(), ElementsAre("a: two hosts seem to have this id, or one boots again and again"));
    pass(301s);
    EXPECT_FALSE(unit("a").two_senders);
}

TEST_F(FleetTells, NothingUnboundedHoweverHostileTheBus)
{
    for (const auto& id :
         {""s, "+"s, "#"s, "a\x1b[2J"s, "\xff"s, std::string(65, 'a'), std::string(60'000, 'b')}) {
        says(id, status(State::CONNECTED));
    }
    for (const auto* const topic : {"", "units", "units/", "units/a", "units/a/", "system/modem/status"}) {
        model.take(topic, frame_of(status(State::CONNECTED)), now);
    }
    EXPECT_THAT(model.units(), IsEmpty());
    EXPECT_EQ(model.left_out().ids, 7U);
    const auto flood = std::string(300, '\x1b') + "\xc3\xa4";
    for (int round = 0; round < 3; ++round) {
        const auto state = round % 2 == 0 ? State::CONNECTED : State::SEARCHING;
        for (std::size_t index = 0; index < FleetModel::MOST_UNITS + 1; ++index) {
            says("unit \"" + std::to_string(index), status(state, State::NONE, flood));
        }
    }
    EXPECT_THAT(model.units(), SizeIs(FleetModel::MOST_UNITS));
    EXPECT_EQ(model.left_out(), (FleetModel::Left{7, 3, FleetModel::MOST_UNITS}));
    EXPECT_EQ(unit("unit \"1").operator_name, std::string(64, '\x1b'));
    FleetPage page;
    page.first = 1'000'000;
    for (const std::size_t columns : {0, 9, 40, 150}) {
        for (const std::size_t rows : {0, 1, 4, 30}) {
            const auto lines = fleet_screen(model, page, now, "centre:8884", {columns, rows});
            EXPECT_LE(lines.size(), rows);
            for (const auto& line : lines) {
                EXPECT_LE(line.text.size(), columns);
                EXPECT_EQ(line.text.find('\x1b'), std::string::npos);
            }
        }
    }
    EXPECT_THAT(left_out_text(model.left_out()), AllOf(HasSubstr("7 messages below ids that are none"),
                                                       HasSubstr("3 messages of units beyond 10000")));
}

TEST_F(FleetTable, IsSortedAndFilteredByAnyColumn)
{
    says("a", status(State::SEARCHING, State::NONE, "Mobile", 5));
    pass(10s);
    says("b", status(State::CONNECTED, State::BACKEND_TIMEOUT, "mobile II", 30));
    pass(10s);
    says("c", status(State::CONNECTED, State::NONE, "Other"));
    says("c", text_message("0"), "bridge");
    pass(10s);
    struct {
        std::string sort;
        bool descending;
        std::vector<std::string> filters;
        std::vector<std::string> expected;
    } const cases[] = {
        {"", false, {}, {"a", "b", "c"}},
        {"unit", true, {}, {"c", "b", "a"}},
        {"state", false, {}, {"c", "a", "b"}},
        {"signal", false, {}, {"c", "a", "b"}},
        {"since", true, {}, {"c", "b", "a"}},
        {"operator", false, {"unit=*"}, {"a", "c", "b"}},
        {"", false, {"state=connected"}, {"b", "c"}},
        {"", false, {"state=connected", "state!=unreachable"}, {"b"}},
        {"", false, {"operator=MOBILE*"}, {"a", "b"}},
        {"", false, {"reset!=none"}, {"b"}},
        {"", false, {"signal<-90"}, {"a"}},
        {"", false, {"since>15"}, {"a", "b"}},
        {"", false, {"seen<15"}, {"c"}},
    };
    for (const auto& [sort, descending, filters, expected] : cases) {
        FleetChoice choice{{}, sort, descending};
        for (const auto& expression : filters) {
            choice.filters.push_back(fleet_filter(expression));
        }
        std::vector<std::string> ids;
        for (const auto& row : fleet_rows(model, choice, now)) {
            ids.push_back(row.id);
        }
        EXPECT_EQ(ids, expected) << sort << testing::PrintToString(filters);
    }
    for (const auto* const wrong :
         {"", "unit", "unit<a", "sate=x", "signal=5", "signal<", "signal<x", "signal<5x", "=", "unit!a"}) {
        EXPECT_THROW(fleet_filter(wrong), UsageError) << wrong;
    }
}

TEST_F(FleetTable, SaysTheSameToAPersonAndToAProgram)
{
    says("truck \"7\"", status(State::SEARCHING, State::NONE, "T\xc3\xa4st\x1b", 20));
    says("truck \"7\"", text_message("1", true), "bridge");
    now += 31s;
    says("truck \"7\"", status(State::CONNECTED, State::NONE, "T\xc3\xa4st\x1b", 20));
    const auto news = model.take_news();
    EXPECT_EQ(
        fleet_text(news.at(1)),
        "2026-01-31T12:00:31.000Z  truck \\\"7\\\"          CONNECTED  (SEARCHING lasted at least 31 s)\n");
    const auto object = nlohmann::json::parse(fleet_json(news.at(1)));
    EXPECT_EQ(object["unit"], "truck \"7\"");
    EXPECT_EQ(object["state"], "CONNECTED");
    EXPECT_EQ(object["operator"]["name"], "T\xc3\xa4st\x1b");
    EXPECT_EQ(object["signal"]["rssi_dbm"], -73);
    EXPECT_EQ(object["bridge"], "up");
    now += 65s;
    FleetPage page;
    const auto lines = fleet_screen(model, page, now, "centre:8884", {120, 24});
    EXPECT_EQ(lines.at(1).text, "1 unit: 1 CONNECTED");
    EXPECT_EQ(lines.at(3).text,
              "truck \\\"7\\\"        CONNECTED      1 min 05 s     T\xc3\xa4st\\x1b         -73 dBm   "
              "1 min 05 s   0 NONE");
}

TEST_F(FleetTable, GivesMetricsInFamiliesOfSamplesThatNoTextOfAUnitBreaks)
{
    const auto forged = "x\"} 1\ncelld_up{unit=\"other\\\x1b\xff"s;
    says("a", frame_of(status(State::SEARCHING, State::AT_PORT_TIMEOUT, forged, 20), true));
    says("b\"\\", status(State::CONNECTED));
    says("b\"\\", text_message("0"), "bridge");
    const auto page = metrics_text(model, true);
    for (const auto* const line :
         {"celld_exporter_units 2", R"(celld_up{unit="a"} 1)", R"(celld_up{unit="b\"\\"} 0)",
          R"(celld_bridge_up{unit="b\"\\"} 0)", R"(celld_signal_strength_dbm{unit="a"} -73)",
          R"(celld_state{unit="a",state="CONNECTED"} 0)", R"(celld_state{unit="b\"\\",state="CONNECTED"} 1)",
          R"(celld_last_reset_info{unit="a",reason="AT_PORT_TIMEOUT"} 1)",
          R"(celld_last_seen_timestamp_seconds{unit="b\"\\"} 1769860800.000)",
          "celld_network_info{unit=\"a\",operator=\"x\\\"} "
          "1\\\\x0acelld_up{unit=\\\"other\\\\\\\\x1b\xef\xbf\xbd\","
          "operator_id=\"\",technology=\"\"} 1"}) {
        EXPECT_THAT("\n" + page, HasSubstr("\n"s + line + "\n"));
    }
    EXPECT_THAT(page, Not(HasSubstr("celld_bridge_up{unit=\"a\"}"))) << "it is not known";
    EXPECT_THAT(page, Not(HasSubstr("celld_last_seen_timestamp_seconds{unit=\"a\"}"))) << "likewise";
    // Each sample stands below its family's head, and no family comes twice.
    std::set<std::string> families;
    std::istringstream lines(page);
    std::string family;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# HELP ")) {
            family = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_TRUE(families.insert(family).second) << family;
        } else if (!line.starts_with("# TYPE " + family + ' ')) {
            EXPECT_EQ(line.substr(0, line.find_first_of("{ ")), family);
        }
    }
    EXPECT_THAT(families, SizeIs(testing::Ge(15U)));
}
