#include "base/event_loop.hpp"
#include "base/file_watcher.hpp"
#include "board/gpio_tree.hpp"
#include "board/power.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace bench {
namespace {

using namespace std::chrono_literals;

TEST(PowerControlTest, BootsAgainOnlyWhenTheLinesCallForIt)
{
    struct Observer : PowerObserver {
        void module_booting() override {}
        void module_up() override { ++ups; }
        void module_down() override { ++downs; }
        int ups = 0;
        int downs = 0;
    } seen;
    TimerQueue timers{TimerQueue::TimePoint{}};
    PowerControl power(timers, 4s, seen);
    const auto settle = [&] {
        power.evaluate();
        timers.advance_to(timers.now() + 5s);
        return power.state();
    };
    power.set_supply(true, false);
    EXPECT_EQ(settle(), PowerControl::State::OFF);
    power.set_power_on(true, false);
    EXPECT_EQ(settle(), PowerControl::State::ON);

    power.switch_off();
    power.set_power_on(true, false); // still high: no edge
    EXPECT_EQ(settle(), PowerControl::State::OFF);
    power.set_power_on(true, true);
    EXPECT_EQ(settle(), PowerControl::State::ON);

    power.set_reset(true, false);
    EXPECT_EQ(settle(), PowerControl::State::OFF);
    power.set_reset(false, false);
    EXPECT_EQ(settle(), PowerControl::State::ON);

    power.set_supply(true, true); // off and on again before anybody looked
    EXPECT_EQ(settle(), PowerControl::State::ON);
    EXPECT_EQ(seen.ups, 4);
    EXPECT_EQ(seen.downs, 3);
}

class GpioTreeTest : public testing::Test {
protected:
    GpioTreeTest()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "sim_gpio_XXXXXX";
        root_ = ::mkdtemp(pattern.data());
        tree_ = std::make_unique<GpioTree>(root_, BoardType::K7, watcher_);
        tree_->on_change([this](const GpioTree::Change& change) { changes_.push_back(change); });
        watcher_.on_batch_end([this] { tree_->process(); });
    }
    ~GpioTreeTest() override
    {
        tree_.reset();
        std::filesystem::remove_all(root_);
    }

    void write(const std::string& file, const std::string& text)
    {
        std::ofstream(base() / file) << text << "\n";
    }

    std::string read(const std::string& file)
    {
        std::string word;
        std::ifstream(base() / file) >> word;
        return word;
    }

    void settle()
    {
        loop_.timers().after(50ms, [this] { loop_.stop(); });
        loop_.run();
    }

    std::filesystem::path base() const { return root_ / "sys/class/gpio"; }

    std::filesystem::path root_;
    EventLoop loop_;
    FileWatcher watcher_{loop_};
    std::unique_ptr<GpioTree> tree_;
    std::vector<GpioTree::Change> changes_;
};

TEST_F(GpioTreeTest, FollowsWritesAsTheKernelDoes)
{
    tree_->drive(Line::VINT, true);
    for (const auto* number : {"156", "157", "160", "162"}) {
        write("export", number);
    }
    settle();
    EXPECT_EQ(read("gpio160/value"), "0"); // alive is low
    write("gpio162/direction", "high");    // the inverted supply switch: off
    write("gpio157/direction", "low");
    settle();
    EXPECT_EQ(read("gpio162/direction"), "out");
    EXPECT_EQ(read("gpio162/value"), "1");
    EXPECT_FALSE(tree_->level(Line::VCC));
    EXPECT_TRUE(changes_.empty());

    write("gpio162/value", "0");
    write("gpio157/value", "0");
    write("gpio157/value", "1");
    write("gpio160/value", "1"); // an input: refused
    settle();
    EXPECT_TRUE(tree_->level(Line::VCC));
    EXPECT_TRUE(tree_->level(Line::PWRON));
    EXPECT_EQ(read("gpio160/value"), "0");
    ASSERT_EQ(changes_.size(), 2U);
    EXPECT_TRUE(changes_[1].pulsed);
}

} // namespace
} // namespace bench
