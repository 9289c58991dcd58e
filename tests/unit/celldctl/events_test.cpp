#include "events.hpp"
#include "feed.hpp"
#include "frames.hpp"
#include "freshness.hpp"

#include <gtest/gtest.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using namespace celldctl;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::system_clock::time_point NOON{1'769'860'800'042ms}; // 2026-01-31T12:00:00.042Z
constexpr auto STATUS = "system/modem/status";
using State = pb::ModemStatus::ModemState;

com::Message status_of(State state, int rssi, std::int64_t network_time_s = 0)
{
    auto status = status_in(state, rssi);
    if (network_time_s != 0) {
        status.set_network_time_utc_us(network_time_s * 1'000'000);
    }
    return frame_of(status);
}

com::Message sims()
{
    pb::ModemSimInformation information;
    information.add_sim()->set_iccid("8949");
    information.add_sim()->set_imsi("26\x1b");
    return frame_of(information);
}

Event heard(const std::string& topic, com::Message message, std::optional<std::int64_t> now_ns = {})
{
    return event_of({NOON, topic, std::move(message)}, now_ns);
}

} // namespace

TEST(Events, AreLinesForAPersonAndForAProgram)
{
    struct {
        Event event;
        std::string text;
        std::string json;
    } const cases[] = {
        {heard(STATUS, frame_of(status_in(pb::ModemStatus::CONNECTED, 20), true, 1s), 43'000'000'000),
         "12:00:00.042Z  system/modem/status            state=CONNECTED reset_reason=NONE rssi=20  "
         "(retained, 42 s "
         "old)\n",
         R"("kind":"status","topic":"system/modem/status","retained":true,"age_s":42,)"
         R"("fields":{"state":"CONNECTED","reset_reason":"NONE","rssi":20}})"},
        {heard("system/modem/sim", sims()),
         "12:00:00.042Z  system/modem/sim               iccid=\"8949\" imsi=\"26\\x1b\"\n",
         R"("kind":"sim","topic":"system/modem/sim","retained":false,)"
         R"("fields":{"sims":[{"iccid":"8949"},{"imsi":"26\u001b"}]}})"},
        {heard("be/status", com::Message({9})),
         "12:00:00.042Z  be/status                      (no frame of this topic: shorter than its header) "
         "09\n",
         R"("kind":"backend","topic":"be/status","retained":false,)"
         R"("error":"no frame of this topic: shorter than its header","payload":"09","fields":{}})"},
        {heard("be/status", com::Message()),
         "12:00:00.042Z  be/status                      (empty: the topic is cleared)\n",
         R"("kind":"backend","topic":"be/status","retained":false,)"
         R"("note":"empty: the topic is cleared","payload":"","fields":{}})"},
        {heard("system/modem/\x1b", com::Message({0x41})),
         "12:00:00.042Z  system/modem/\\x1b              (unknown topic) 41\n",
         R"("kind":"other","topic":"system/modem/\u001b","retained":false,)"
         R"("note":"unknown topic","payload":"41","fields":{}})"},
    };
    for (const auto& [event, text, json] : cases) {
        EXPECT_EQ(event_text(event, false), text);
        EXPECT_EQ(event_text(event, true), "2026-01-31T" + text);
        EXPECT_EQ(event_json(event), R"({"time":"2026-01-31T12:00:00.042Z",)" + json + "\n");
    }
    auto gone = connection_event("lost", false);
    gone.when = NOON;
    EXPECT_EQ(event_text(gone, false), "12:00:00.042Z  (connection)                   lost\n");
    EXPECT_EQ(event_json(gone),
              R"({"time":"2026-01-31T12:00:00.042Z","kind":"connection","connected":false,"text":"lost"})"
              "\n");
}

TEST(Events, OfGarbageOrAnUnknownValueTellNoState)
{
    for (const char* topic : {STATUS, "be/status", "rt/system/modem_creg", "unknown/topic"}) {
        const auto description = describe(topic, com::Message({0xff, 0x00, 0x1b}));
        EXPECT_NE(description.text.find("ff 00 1b"), std::string::npos) << topic;
        EXPECT_EQ(description.state, std::nullopt);
    }
    const auto topic = "rt/system/modem_rssi";
    EXPECT_EQ(describe(topic, signal_frame(topic, 0xff)).text, "modem_rssi=-1");
    EXPECT_EQ(modem_state("nonsense"), std::nullopt);
}

TEST(Events, OfWhatRepeatsOnlyTheChangeIsLeft)
{
    using Status = pb::ModemStatus;
    const auto frame = frame_of(status_in(Status::CONNECTED));
    struct {
        const char* topic;
        com::Message message;
        std::string left;
    } const steps[] = {
        {STATUS, status_of(Status::SEARCHING, 20), "state=SEARCHING reset_reason=NONE rssi=20"},
        {STATUS, status_of(Status::SEARCHING, 20), "nothing"},
        {"be/status", com::Message({1}), "(no frame of this topic: shorter than its header) 01"},
        {"be/status", com::Message({1}), "nothing"},
        {"be/status", com::Message({2}), "(no frame of this topic: shorter than its header) 02"},
        {STATUS, status_of(Status::CONNECTED, 20), "state=CONNECTED"},
        {STATUS, status_of(Status::CONNECTED, 20, 1'769'860'800), "nothing"},
        {STATUS, status_of(Status::CONNECTED, 21, 1'769'860'820), "rssi=21"},
        {STATUS, frame, "rssi=--"},
        {STATUS, com::Message({3}), "(no frame of this topic: shorter than its header) 03"},
        {STATUS, frame, "state=CONNECTED reset_reason=NONE"},
        {"system/modem/sim", sims(), R"(iccid="8949" imsi="26\x1b")"},
        {"system/modem/sim", sims(), "nothing"},
    };
    ChangeFilter filter;
    for (const auto& [topic, message, left] : steps) {
        const auto event = filter.pass(heard(topic, message));
        EXPECT_EQ(event ? event->what.text : "nothing", left) << topic;
    }
    EXPECT_TRUE(filter.pass(connection_event("lost", false)));
    EXPECT_TRUE(filter.pass(connection_event("lost", false)));
}

TEST(Events, AFloodIsBoundedAndCounted)
{
    Feed feed;
    const com::Message large(com::Message::Payload(100'000));
    for (int message = 0; message < 50; ++message) {
        feed.message("t", large);
    }
    EXPECT_EQ(feed.take_dropped(), 11U); // 39 of them and their topics fit into 4 MB
    EXPECT_EQ(feed.take_dropped(), 0U);
    for (int kept = 0; kept < 39; ++kept) {
        EXPECT_TRUE(feed.next());
    }
    EXPECT_FALSE(feed.next());
    feed.message("t", large);
    EXPECT_TRUE(feed.next());
}

TEST(Freshness, WhatIsRetainedTellsOfNowOnlyWhereItIsKnownToBeYoung)
{
    constexpr auto NOW = 1000s;
    struct {
        std::chrono::nanoseconds stamp;
        bool is_retained;
        bool same_host;
        std::optional<std::chrono::seconds> old;
        bool current;
    } const cases[] = {
        {NOW, true, true, 0s, true},           {NOW - 300s, true, true, 300s, true},
        {NOW - 301s, true, true, 301s, false}, {NOW - 301s, false, true, 301s, true},
        {NOW + 1s, true, true, {}, false}, // of another boot
        {-1ns, true, true, {}, false},     // as an overflow would make it
        {NOW, true, false, {}, false},         {NOW, false, false, {}, true},
    };
    for (const auto& [stamp, is_retained, same_host, old, current] : cases) {
        const auto message = frame_of(pb::ModemStatus(), is_retained, stamp);
        const auto now_ns = same_host ? std::optional(std::chrono::nanoseconds(NOW).count()) : std::nullopt;
        EXPECT_EQ(age(time_stamp_of(message), now_ns), old) << stamp.count();
        EXPECT_EQ(is_current(message, now_ns), current) << stamp.count();
    }
    com::Message garbage({1});
    garbage.retained(true);
    EXPECT_FALSE(is_current(garbage, 0));
}

TEST(Freshness, DurationsReadWell)
{
    using Case = std::pair<std::chrono::seconds, const char*>;
    const Case cases[] = {
        {59s, "59 s"}, {3599s, "59 min 59 s"}, {24h - 1s, "23 h 59 min"}, {24h, "1 d 00 h"}};
    for (const auto& [duration, text] : cases) {
        EXPECT_EQ(duration_text(duration), text);
    }
}
