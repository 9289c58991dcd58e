#include "at/line_editor.hpp"
#include "base/event_loop.hpp"
#include "board/gpio_tree.hpp"
#include "board/power.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>

#include <fstream>
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
    const std::tuple<std::function<void()>, std::chrono::seconds, const char*> steps[] = {
        {[&] { power.set_supply(true, false); }, 5s, ""},
        {[&] { power.set_power_on(true, false); }, 5s, "bu"},
        {[&] { power.switch_off(); }, 5s, "d"},
        {[&] { power.set_power_on(true, false); }, 5s, ""}, // still high: no edge
        {[&] { power.set_power_on(true, true); }, 5s, "bu"},
        {[&] { power.set_reset(true, false); }, 5s, "d"},
        {[&] { power.set_reset(false, false); }, 5s, "bu"},
        {[&] { power.set_supply(true, true); }, 3s, "db"}, // off and on again before anybody looked
        {[&] { power.boot_time({}); }, 2s, "u"},
        {[&] { power.restart(20s); }, 3600s, "db"}, // the longer failure counts
    };
    for (const auto& [act, time, said] : steps) {
        seen.said.clear();
        act();
        power.evaluate();
        timers.advance_to(timers.now() + time);
        EXPECT_EQ(seen.said, said);
    }
}

TEST(GpioTreeTest, CountsTwoWritesAsAPulseAndRefusesOnesToAnInput)
{
    const TempRoot root;
    EventLoop loop;
    FileWatcher watcher{loop};
    GpioTree tree(root.path(""), BoardType::K7, watcher);
    std::vector<bool> pulses;
    tree.on_change([&](const GpioTree::Change& change) { pulses.push_back(change.pulsed); });
    watcher.on_batch_end([&] { tree.process(); });
    const auto write = [&](const std::vector<std::pair<std::string, std::string>>& texts) {
        for (const auto& [file, text] : texts) {
            root.write("/sys/class/gpio/" + file, text);
        }
        loop.timers().after(50ms, [&] { loop.stop(); });
        loop.run();
    };
    tree.drive(Line::VINT, true);
    write({{"export", "157"}, {"export", "160"}, {"export", "162"}});
    write({{"gpio162/direction", "high"}, {"gpio157/direction", "low"}}); // inverted: the supply is off
    EXPECT_TRUE(!tree.level(Line::VCC) && pulses.empty());
    write({{"gpio162/value", "0"}, {"gpio157/value", "0"}, {"gpio157/value", "1"}, {"gpio160/value", "1"}});
    EXPECT_TRUE(tree.level(Line::VCC) && tree.level(Line::PWRON));
    EXPECT_EQ(root.read("/sys/class/gpio/gpio160/value"), "0\n") << "alive is low";
    EXPECT_THAT(pulses, testing::ElementsAre(false, true));
}

} // namespace
} // namespace bench
