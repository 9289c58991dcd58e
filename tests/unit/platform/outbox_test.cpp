#include "com/mqtt_session.hpp"
#include "com/outbox.hpp"
#include "com/retries.hpp"
#include "com/subscriptions.hpp"
#include "com/thread_without_signals.hpp"
#include "observer.hpp"
#include "support/log_capture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace ecu::kova;
using namespace ecu::kova::com;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class OutboxTest : public testing::Test {
protected:
    bool put(const std::string& text, const std::string& topic = "rt/a", bool retained = false)
    {
        return outbox.put(topic, text_message(text, retained), publication_qos(topic));
    }
    bool retain(const std::string& text, const std::string& topic = "system/state")
    {
        return put(text, topic, true);
    }

    /// What is offered now; it stays under way.
    std::vector<std::string> offered()
    {
        std::vector<std::string> texts;
        while (const auto item = outbox.next()) {
            const auto& payload = item->message.payload();
            texts.emplace_back(payload.begin(), payload.end());
            ids.push_back(item->id);
        }
        return texts;
    }
    void all_left()
    {
        for (const auto id : ids) {
            outbox.left(id);
        }
        ids.clear();
    }

    Outbox outbox;
    std::vector<std::uint64_t> ids;
};

TEST_F(OutboxTest, KeepsOnlyTheNewestStateWhileTheBusIsAway)
{
    EXPECT_FALSE(outbox.is_connected());
    EXPECT_FALSE(put("signal"));
    EXPECT_FALSE(put("event", "system/event"));
    EXPECT_TRUE(retain("first") && retain("other", "system/other") && retain("second"));
    EXPECT_THAT(offered(), IsEmpty());
    outbox.connected();
    EXPECT_TRUE(outbox.is_connected());
    EXPECT_TRUE(put("signal"));
    EXPECT_THAT(offered(), ElementsAre("other", "second", "signal")) << "in the order of publishing";
    EXPECT_THAT(offered(), IsEmpty());
    all_left();

    EXPECT_TRUE(retain("third") && retain("fourth"));
    EXPECT_THAT(offered(), ElementsAre("third", "fourth"))
        << "each state that there was, while there is a bus";
    all_left();
    EXPECT_TRUE(retain("fifth") && retain("sixth"));
    outbox.connection_lost();
    outbox.connected();
    EXPECT_THAT(offered(), ElementsAre("other", "sixth"));
}

TEST_F(OutboxTest, ALostConnectionRepeatsWhatMustArriveAndEveryStateAndNothingElse)
{
    outbox.connected();
    retain("left before");
    offered();
    all_left();
    retain("overtaken under way", "system/b");
    put("event under way", "system/event");
    put("signal under way");
    offered();
    retain("newest", "system/b");
    put("event waiting", "system/event");
    put("signal waiting");
    outbox.connection_lost();
    ids.clear();
    EXPECT_FALSE(outbox.is_connected());
    EXPECT_THAT(offered(), IsEmpty());
    outbox.connected();
    EXPECT_THAT(offered(), ElementsAre("left before", "event under way", "newest", "event waiting"));
    EXPECT_FALSE(outbox.wait_until_empty(0ms));
    all_left();
    EXPECT_TRUE(outbox.wait_until_empty(0ms));
    EXPECT_THAT(offered(), IsEmpty()) << "what left is not sent twice over one connection";
}

TEST_F(OutboxTest, AReplacedConnectionLosesNothingThatWasAccepted)
{
    outbox.connected();
    EXPECT_TRUE(outbox.outlives_a_reconnect());
    put("signal");
    EXPECT_FALSE(outbox.outlives_a_reconnect());
    EXPECT_THAT(offered(), ElementsAre("signal"));
    EXPECT_FALSE(outbox.outlives_a_reconnect());
    all_left();
    retain("state");
    put("event", "system/event");
    offered();
    EXPECT_TRUE(outbox.outlives_a_reconnect());
    outbox.reconnecting();
    EXPECT_TRUE(put("meanwhile"));
    outbox.connected();
    EXPECT_THAT(offered(), ElementsAre("state", "event", "meanwhile"));
}

TEST_F(OutboxTest, IsBounded)
{
    outbox.connected();
    EXPECT_FALSE(put(std::string(1024 * 1024 + 1, 'x')));
    EXPECT_TRUE(put(std::string(1024 * 1024, 'x')));
    for (int i = 1; i < 1024; ++i) {
        ASSERT_TRUE(put("x"));
    }
    EXPECT_FALSE(put("one too many"));
    EXPECT_EQ(offered().size(), 20U) << "under way at once";
    outbox.left(ids.front());
    EXPECT_EQ(offered().size(), 1U);
    for (int i = 0; i < 1024; ++i) {
        ASSERT_TRUE(retain("x", "system/" + std::to_string(i)));
    }
    EXPECT_FALSE(retain("x", "system/one too many"));
    EXPECT_TRUE(retain("y", "system/7"));
}

TEST_F(OutboxTest, WhoWaitsForItIsWokenByTheLastToLeaveOrToBeDropped)
{
    outbox.connected();
    for (const bool lost : {false, true}) {
        put("x");
        offered();
        bool empty = false;
        std::thread waiting([&] { empty = outbox.wait_until_empty(1h); });
        lost ? outbox.connection_lost() : all_left();
        waiting.join();
        EXPECT_TRUE(empty);
        outbox.connected();
    }
}

TEST(Retries, WaitLongerUntilAConnectionHeldAndKnowATakenIdByItsShortLives)
{
    Retries retries;
    std::vector<std::int64_t> delays;
    for (int i = 0; i < 7; ++i, retries.lengthen_delay()) {
        delays.push_back(retries.delay().count());
    }
    EXPECT_THAT(delays, ElementsAre(1, 2, 4, 8, 16, 30, 30));
    using Life = Retries::Life;
    for (const auto& [life, delay, taken] : {std::tuple{Life{9s, true, false}, 30, false},
                                             {Life{10s, false, false}, 30, false},
                                             {Life{10s, true, false}, 1, false},
                                             {Life{0s, true, true}, 1, false},
                                             {Life{59s, true, true}, 1, true},
                                             {Life{60s, true, true}, 1, false},
                                             {Life{0s, true, true}, 1, false},
                                             {Life{0s, true, false}, 1, false},
                                             {Life{0s, true, true}, 1, false}}) {
        retries.failed(life);
        EXPECT_EQ(retries.delay().count(), delay) << life.lived.count();
        EXPECT_EQ(retries.id_seems_taken(), taken) << life.lived.count();
    }
}

TEST(ThreadWithoutSignals, TakesNoneAndLeavesThemToWhoStartsIt)
{
    const auto blocked = [] {
        sigset_t now{};
        pthread_sigmask(SIG_BLOCK, nullptr, &now);
        return sigismember(&now, SIGTERM) + sigismember(&now, SIGPIPE);
    };
    int on_thread = 0;
    thread_without_signals([&] { on_thread = blocked(); }).join();
    EXPECT_EQ(on_thread, 2);
    EXPECT_EQ(blocked(), 0);
}

TEST(SubscriptionList, NamesEachFilterOnceAndForgetsThoseThatNobodyWantsAnyMore)
{
    Subscriptions subscriptions;
    const auto observer = std::make_shared<RecordingObserver>();
    auto gone = std::make_shared<RecordingObserver>();
    subscriptions.add("be/#", gone);
    subscriptions.add("rt/+", observer);
    subscriptions.add("a", observer);
    subscriptions.add("rt/+", observer);
    EXPECT_THAT(subscriptions.filters(), ElementsAre("be/#", "rt/+", "a"));
    EXPECT_TRUE(subscriptions.matches("be/status/x") && subscriptions.matches("rt/x"));
    EXPECT_FALSE(subscriptions.matches("rt/x/y"));
    gone.reset();
    EXPECT_THAT(subscriptions.filters(), ElementsAre("rt/+", "a"));
    EXPECT_FALSE(subscriptions.matches("be/status"));
    EXPECT_FALSE(is_topic("") || is_topic("a/+") || is_topic(std::string("a\0b", 3)));
    EXPECT_FALSE(is_filter("a#") || is_filter(std::string("a\0", 2)));
    EXPECT_TRUE(is_client_id(std::string(65535, 'x')));
    EXPECT_FALSE(is_client_id(std::string(65536, 'x')) || is_client_id(""));
    EXPECT_TRUE(is_will("a", text_message(std::string(65535, 'x'))));
    EXPECT_FALSE(is_will("a", text_message(std::string(65536, 'x'))) || is_will("#", text_message("x")));
}

TEST(SubscriptionList, WhatOneObserverThrowsKeepsNothingFromTheNext)
{
    const LogCapture log;
    Subscriptions subscriptions;
    const auto observer = std::make_shared<RecordingObserver>();
    for (int times = 0; times < 3; ++times) {
        subscriptions.add("t", observer);
    }
    int turn = 0;
    observer->on_message([&turn](const std::string&) {
        if (++turn == 1) {
            throw std::runtime_error("careless");
        }
        if (turn == 2) {
            throw turn;
        }
    });
    subscriptions.deliver("t", text_message("x"));
    EXPECT_EQ(turn, 3);
    EXPECT_TRUE(log.contains(LogCapture::Level::ERROR, "A message on t was not handled: careless")) << log;
    EXPECT_EQ(log.count("was not handled"), 2U) << log;
}

} // namespace
