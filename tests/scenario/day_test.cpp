#include "scenario/rig.hpp"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr unsigned SEED = 1;
constexpr auto SHORT_DAY = 80s; // of the test's own time, when no length is asked for
constexpr auto LONGEST_QUIET = 600s;
constexpr int QUIETS_A_DAY = 40; // at least
constexpr auto LONGEST_TROUBLE = 60s;
constexpr int MOST_EVENTS = 3; // at once
constexpr auto RECOVERY =
    30min;                    // the longest back-off, a search started anew, ten resets with all their waits
constexpr auto A_TRY = 20min; // a first connection, with the reset of the first boot
constexpr std::size_t WARMED_UP = 5; // episodes, after which nothing new is learnt
constexpr long MOST_GROWTH_KB = 2048;

/// What a module, its card, its lines and the network do, in the bench's words (docs/bench.md).
const std::vector<const char*> TROUBLES{"network lost",
                                        "network denied",
                                        "network roaming",
                                        "network emergency",
                                        "network search",
                                        "flap registration 3000",
                                        "flap rat 6 2000",
                                        "backoff 0 20",
                                        "backoff 1 20",
                                        "backoff 2 20",
                                        "backoff 3 20",
                                        "context lost",
                                        "context refused",
                                        "context silent",
                                        "sim internal remove",
                                        "sim internal busy 40",
                                        "simlock 0",
                                        "port drop 5",
                                        "port drop never",
                                        "hang",
                                        "reboot",
                                        "mute on",
                                        "boot 20000",
                                        "garbage 5000",
                                        "endless 5000",
                                        "echo on",
                                        "cut *",
                                        "once lose *",
                                        "once late * 15000",
                                        "once fail *",
                                        "once crash + before",
                                        "once crash + after",
                                        "gpio VINT unreadable",
                                        "urc +CREG: 99999999999999999999,\"",
                                        "rssi 2",
                                        "antenna 100000"};
const std::vector<const char*> REMEDIES{"unfail",       "mute off",        "port back",           "flap off",
                                        "network home", "context granted", "sim internal insert", "simlock 1",
                                        "boot normal",  "echo off",        "gpio VINT normal",    "rssi 20",
                                        "antenna 10000"};

/// Anything happens at any time to the real programs, and each time that it is over the connection comes
/// back. A day of their time: CELLD_DAY_HOURS=24 build/ci/bin/scenario_test --gtest_filter='*Day*', with
/// CELLD_DAY_SEED for another day. What of an episode happens when differs a little from run to run, so the
/// episode that failed is printed.
class Day : public Rig, public testing::WithParamInterface<const char*> {
protected:
    Day() : random_(seed() + (on_toby() ? 1 : 0)) {}

    static bool on_toby() { return GetParam() == std::string("toby"); }
    static bool is_long() { return std::getenv("CELLD_DAY_HOURS") != nullptr; }
    static std::chrono::seconds length()
    {
        const char* const hours = std::getenv("CELLD_DAY_HOURS");
        return hours != nullptr ? std::chrono::hours(std::stoi(hours)) : in_programs_time(SHORT_DAY);
    }
    static unsigned seed()
    {
        const char* const seed = std::getenv("CELLD_DAY_SEED");
        return seed != nullptr ? static_cast<unsigned>(std::stoul(seed)) : SEED;
    }

    std::chrono::seconds up_to(std::chrono::seconds most)
    {
        return std::chrono::seconds(std::uniform_int_distribution<std::int64_t>(0, most.count())(random_));
    }

    void something_happens()
    {
        constexpr std::size_t OTHERS = 5;
        const auto any = std::uniform_int_distribution<std::size_t>(0, TROUBLES.size() + OTHERS - 1)(random_);
        if (any < TROUBLES.size()) {
            note(TROUBLES[any]);
            sim(TROUBLES[any]);
            return;
        }
        switch (any - TROUBLES.size()) {
        case 0:
            note("the broker is lost");
            stop_broker();
            broker_is_away_ = true;
            return;
        case 1:
            note("radio silence");
            radio_silence(true);
            return;
        case 2:
            note("the backend is away");
            bus().backend_disconnected();
            return;
        case 3:
            note("the daemon is killed");
            kill_celld();
            break;
        default:
            note("the daemon is stopped");
            renew_budget(RECOVERY);
            EXPECT_EQ(terminate(), 0);
        }
        start_celld();
        memory_.clear();
    }

    void all_is_good()
    {
        if (std::exchange(broker_is_away_, false)) {
            start_broker();
        }
        radio_silence(false);
        bus().backend_connected();
        for (const char* remedy : REMEDIES) {
            sim(remedy);
        }
    }

    void live_through_an_episode()
    {
        episode_.clear();
        const auto quiet = up_to(std::min<std::chrono::seconds>(LONGEST_QUIET, length() / QUIETS_A_DAY));
        note(std::to_string(quiet.count()) + " s connected");
        pass(quiet);
        for (int more = std::uniform_int_distribution(1, MOST_EVENTS)(random_); more > 0; --more) {
            something_happens();
            const auto trouble = up_to(LONGEST_TROUBLE);
            note(std::to_string(trouble.count()) + " s");
            pass(trouble);
        }
        renew_budget(RECOVERY);
        all_is_good();
        bus().forget();
        await_state(CONNECTED);
        await("threads and descriptors as at first",
              [this] { return threads_and_descriptors() == at_first_; });
    }

    /// Of one life of the daemon; none is seen to in a short day.
    void memory_does_not_grow()
    {
        memory_.push_back(resident_kb());
        if (is_long() && memory_.size() > WARMED_UP) {
            ASSERT_LT(memory_.back(), memory_[WARMED_UP] + MOST_GROWTH_KB);
        }
    }

    void note(const std::string& text) { episode_ += (episode_.empty() ? "" : "; ") + text; }

    ProcessFacts at_first_;
    std::string episode_; // the present one, as it is told when it fails

private:
    long resident_kb()
    {
        std::ifstream status("/proc/" + std::to_string(celld().id()) + "/status");
        for (std::string word; status >> word;) {
            if (word == "VmRSS:") {
                long kb = 0;
                status >> kb;
                return kb;
            }
        }
        throw std::runtime_error("no memory of celld to be read");
    }

    std::mt19937 random_;
    bool broker_is_away_ = false;
    std::vector<long> memory_; // behind each episode
};

TEST_P(Day, EndsEachEpisodeConnected)
{
    renew_budget(A_TRY);
    connect({.board = on_toby() ? "k7" : "qbx",
             .module = {std::string("--family=") + GetParam()},
             .settings = "sim.external.pin = 5193\n"});
    at_first_ = threads_and_descriptors();
    const auto begin = std::chrono::steady_clock::now();
    std::size_t episodes = 0;
    const auto lived = [&] {
        return in_programs_time(
            std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin));
    };
    for (; lived() < length(); ++episodes) {
        try {
            live_through_an_episode();
        } catch (const std::exception& failure) {
            FAIL() << failure.what() << ", episode " << episodes << " of seed " << seed() << ": " << episode_;
        }
        ASSERT_NO_FATAL_FAILURE(memory_does_not_grow()) << episode_;
    }
    std::cout << episodes << " episodes in " << lived().count() << " s, " << said("Reset counter: ")
              << " resets of the last celld\n";
    EXPECT_EQ(terminate(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, Day, testing::Values("sara", "toby"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
