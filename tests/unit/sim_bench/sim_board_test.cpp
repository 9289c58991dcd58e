#include "at/line_editor.hpp"
#include "base/event_loop.hpp"
#include "board/gpio_tree.hpp"
#include "board/power.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>

#include <vector>

namespace bench {
namespace {

using namespace std::chrono_literals;

TEST(LineEditorTest, TakesTheSameLinesHoweverTheBytesAreSplit)
{
    const std::string input = "rub\bbish\x11 AT+GMM\r\n\r\natx\b+CSQ\rAT\r";
    for (std::size_t cut = 0; cut <= input.size(); ++cut) {
        std::string echoed;
        std::vector<std::string> lines;
        LineEditor editor({.echo = [&](std::string_view bytes) { echoed += bytes; },
                           .command = [&](const std::string& line) { lines.push_back(line); },
                           .overflow = [] { FAIL(); }});
        editor.feed(input.substr(0, cut));
        editor.feed(input.substr(cut));
        EXPECT_THAT(lines, testing::ElementsAre("+GMM", "+CSQ", "")) << "cut at " << cut;
        EXPECT_EQ(echoed, "AT+GMM\ratx\b+CSQ\rAT\r") << "cut at " << cut;
    }
}

TEST(PowerControlTest, BootsWhenTheLinesCallForItAndAsLongAsItIsTold)
{
    struct Observer : PowerObserver {
        void module_booting() override { said += 'b'; }
        void module_up() override { said += 'u'; }
        void module_down() override { said += 'd'; }
        std::string said;
    } seen;
    TimerQueue timers{TimerQueue::TimePoint{}};
    PowerControl power(timers, 4s, seen);
    const auto said_within = [&](std::chrono::seconds time) {
        seen.said.clear();
        power.evaluate();
        timers.advance_to(timers.now() + time);
        return seen.said;
    };
    power.set_supply(true, false);
    EXPECT_EQ(said_within(5s), "");
    power.set_power_on(true, false);
    EXPECT_EQ(said_within(5s), "bu");
    power.switch_off();
    power.set_power_on(true, false); // still high: no edge
    EXPECT_EQ(said_within(5s), "");
    power.set_power_on(true, true);
    EXPECT_EQ(said_within(5s), "bu");
    power.set_reset(true, false);
    EXPECT_EQ(said_within(5s), "d");
    power.set_reset(false, false);
    EXPECT_EQ(said_within(5s), "bu");
    power.set_supply(true, true); // off and on again before anybody looked
    EXPECT_EQ(said_within(3s), "db");
    EXPECT_EQ(said_within(2s), "u");

    power.restart(20s);
    EXPECT_EQ(said_within(19s), "");
    EXPECT_EQ(said_within(2s), "u");
    power.boot_time({});
    power.restart(20s); // the longer failure counts
    EXPECT_EQ(said_within(3600s), "");
    power.boot_time(1s);
    power.set_supply(true, true);
    EXPECT_EQ(said_within(2s), "dbu");
}

TEST(GpioTreeTest, FollowsWritesAsTheKernelDoes)
{
    const TempRoot root;
    EventLoop loop;
    FileWatcher watcher{loop};
    GpioTree tree(root.path(""), BoardType::K7, watcher);
    std::vector<bool> pulses;
    tree.on_change([&](const GpioTree::Change& change) { pulses.push_back(change.pulsed); });
    watcher.on_batch_end([&] { tree.process(); });
    const std::string base = "/sys/class/gpio/";
    const auto settle = [&] {
        loop.timers().after(50ms, [&] { loop.stop(); });
        loop.run();
    };
    tree.drive(Line::VINT, true);
    for (const auto* number : {"156", "157", "160", "162"}) {
        root.write(base + "export", number);
    }
    settle();
    EXPECT_EQ(root.read(base + "gpio160/value"), "0\n"); // alive is low
    root.write(base + "gpio162/direction", "high\n");    // the inverted supply switch: off
    root.write(base + "gpio157/direction", "low\n");
    settle();
    EXPECT_EQ(root.read(base + "gpio162/direction"), "out\n");
    EXPECT_EQ(root.read(base + "gpio162/value"), "1\n");
    EXPECT_TRUE(!tree.level(Line::VCC) && pulses.empty());

    for (const auto* pin : {"162/value", "157/value"}) {
        root.write(base + "gpio" + pin, "0\n");
    }
    root.write(base + "gpio157/value", "1\n");
    root.write(base + "gpio160/value", "1\n"); // an input: refused
    settle();
    EXPECT_TRUE(tree.level(Line::VCC) && tree.level(Line::PWRON));
    EXPECT_EQ(root.read(base + "gpio160/value"), "0\n");
    EXPECT_THAT(pulses, testing::ElementsAre(false, true));
}

} // namespace
} // namespace bench
