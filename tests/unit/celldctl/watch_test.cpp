#include "frames.hpp"
#include "watch/watch_screen.hpp"

#include <gmock/gmock.h>

namespace pb = ecu::kova::pb;
using namespace celldctl;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr WatchModel::Time NOON{1'769'860'800s}; // 2026-01-31T12:00:00Z

Heard status_at(WatchModel::Time when, pb::ModemStatus::ModemState state, std::optional<int> rssi = {})
{
    return {when, "system/modem/status", frame_of(status_in(state, rssi))};
}

/// Searching, connected after half a minute, the signal rising.
WatchModel model_of_a_connection()
{
    WatchModel model;
    model.take(status_at(NOON, pb::ModemStatus::SEARCHING), {});
    model.advance(NOON, {});
    model.take(status_at(NOON + 31s, pb::ModemStatus::CONNECTED, 0), {});
    for (int second = 31; second < 91; ++second) {
        model.take(status_at(NOON + std::chrono::seconds(second), pb::ModemStatus::CONNECTED, second - 31),
                   {});
        model.advance(NOON + std::chrono::seconds(second), {});
    }
    return model;
}

std::vector<std::string> texts(const std::vector<ScreenLine>& lines)
{
    std::vector<std::string> all;
    for (const auto& line : lines) {
        all.push_back(line.text);
    }
    return all;
}

} // namespace

TEST(Sparkline, MarksTheScaleAndLeavesBlankWhatIsNotKnown)
{
    struct {
        SignalHistory history;
        std::size_t columns;
        std::string line;
        std::string ascii;
        std::string range;
    } const cases[] = {
        {{}, 10, "", "", ""},
        {{-113, -106, -105, -97, -51, -59}, 10, "▁▁▂▃█▇", "__.,#*", "-113 to -51 dBm"},
        {{-200, {}, 0}, 10, "▁ █", "_ #", "-200 to 0 dBm"},
        {{-113, -71, -51}, 2, "▆█", "+#", "-71 to -51 dBm"},
    };
    for (const auto& [history, columns, line, ascii, range] : cases) {
        EXPECT_EQ(sparkline(history, columns, true), line);
        EXPECT_EQ(sparkline(history, columns, false), ascii);
        EXPECT_EQ(range_text(history, columns), range);
    }
}

TEST(Watch, KnowsHowLongEachStateLastedAndTellsWhatIsNew)
{
    auto model = model_of_a_connection();
    EXPECT_EQ(model.last_stretch(), "SEARCHING lasted 31 s");
    EXPECT_THAT(model.signal(), ElementsAre(-113, -93, -73, -53, std::nullopt, std::nullopt));
    EXPECT_FALSE(model.take(status_at(NOON + 91s, pb::ModemStatus::CONNECTED, 59), {})) << "nothing new";
    EXPECT_EQ(model.take(status_at(NOON + 92s, pb::ModemStatus::CONNECTED, 9), {})->what.text, "rssi=9");
    EXPECT_EQ(model.antenna(), "") << "nobody has said";
    const auto says = [&model](const std::string& what, std::uint8_t value) {
        const auto topic = "rt/system/status_cellular_antenna_" + what;
        model.take({NOON + 92s, topic, signal_frame(topic, value)}, {});
        return model.antenna();
    };
    EXPECT_EQ(says("open_circuit", 0), "healthy");
    EXPECT_EQ(says("short_to_ground", 1), "short to ground");
    EXPECT_EQ(says("open_circuit", 1), "short to ground");
    EXPECT_EQ(says("short_to_ground", 0), "open circuit");
    model.take_connection(connection_event("lost", false));
    EXPECT_EQ(model.connection_trouble(), "lost");
    model.advance(NOON + 101s, {});
    EXPECT_EQ(model.signal().back(), std::nullopt) << "nobody knows";
    model.take_connection(connection_event("there again", true));
    EXPECT_EQ(model.connection_trouble(), "");
    for (int change = 0; change < 10'000; ++change) {
        const auto state = change % 2 == 0 ? pb::ModemStatus::CONNECTED : pb::ModemStatus::SEARCHING;
        model.take(status_at(NOON + 2min + std::chrono::seconds(10 * change), state, 20), {});
        model.advance(NOON + 2min + std::chrono::seconds(10 * change), {});
    }
    EXPECT_LE(model.states().size() + model.events().size() + model.signal().size(), 1000U) << "bounded";
}

TEST(Watch, TheScreenTellsItAllAndFitsAnyTerminal)
{
    const auto model = model_of_a_connection();
    const auto screen = texts(watch_screen(model, NOON + 2min, "unit:1883", {80, 24}, true));
    EXPECT_THAT(screen, testing::IsSupersetOf({std::string("celldctl watch  unit:1883  12:02:00Z"),
                                               std::string("CONNECTED for 1 min 29 s"),
                                               std::string("          ▁▃▆█  "),
                                               std::string("  12:00:31Z  CONNECTED     1 min 29 s"),
                                               std::string("  12:00:00Z  SEARCHING     at least 31 s")}));
    const auto is_within_a_character = [](char byte) { return (byte & 0xc0) == 0x80; }; // UTF-8
    for (std::size_t columns = 0; columns < 130; columns += 7) {
        for (std::size_t rows = 0; rows < 60; ++rows) {
            const auto lines = texts(watch_screen(model, NOON + 2min, "unit:1883", {columns, rows}, true));
            EXPECT_LE(lines.size(), rows);
            for (const auto& line : lines) {
                const auto within = std::count_if(line.begin(), line.end(), is_within_a_character);
                EXPECT_LE(line.size() - static_cast<std::size_t>(within), columns) << line;
            }
        }
    }
    EXPECT_THAT(texts(watch_screen({}, NOON, "unit:1883", {}, false))[1], HasSubstr("no status has come"));
}
