#include "bus/message_adapter.hpp"
#include "events.hpp"
#include "feed.hpp"
#include "freshness.hpp"

#include <gtest/gtest.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using namespace celldctl;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::system_clock::time_point NOON{1'769'860'800'042ms}; // 2026-01-31T12:00:00.042Z
constexpr auto STATUS = "system/modem/status";

com::Message status_of(pb::ModemStatus::ModemState state, int rssi, std::int64_t network_time_s = 0)
{
    pb::ModemStatus status;
    status.set_state(state);
    status.set_rssi(rssi);
    if (network_time_s != 0) {
        status.set_network_time_utc_us(network_time_s * 1'000'000);
    }
    return *com::PbInternalMessageAdapter<pb::ModemStatus>().serialize(status);
}

com::Message sims()
{
    pb::ModemSimInformation information;
    information.add_sim()->set_iccid("8949");
    information.add_sim()->set_imsi("26\x1b");
    return *com::PbInternalMessageAdapter<pb::ModemSimInformation>().serialize(information);
}

com::Message retained(com::Message message)
{
    message.retained(true);
    return message;
}

Event heard(const std::string& topic, com::Message message, std::optional<std::int64_t> now_ns = {})
{
    return event_of({NOON, topic, std::move(message)}, now_ns);
}

/// A frame with that time stamp.
com::Message stamped(std::int64_t stamp_ns, bool is_retained)
{
    auto message = status_of(pb::ModemStatus::CONNECTED, 20);
    auto payload = message.payload();
    for (std::size_t byte = 0; byte < 8; ++byte) {
        payload[10 + byte] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(stamp_ns) >> 8 * byte);
    }
    com::Message frame(std::move(payload));
    frame.retained(is_retained);
    return frame;
}

} // namespace

TEST(Events, AreLinesForAPersonAndForAProgram)
{
    struct {
        Event event;
        std::string text;
        std::string json;
    } const cases[] = {
        {heard(STATUS, status_of(pb::ModemStatus::CONNECTED, 20)),
         "12:00:00.042Z  system/modem/status            state=CONNECTED rssi=20\n",
         R"("kind":"status","topic":"system/modem/status","retained":false,"fields":{"state":"CONNECTED","rssi":20}})"},
        {heard(STATUS, stamped(1'000'000'000, true), 43'000'000'000),
         "12:00:00.042Z  system/modem/status            state=CONNECTED rssi=20  (retained, 42 s old)\n",
         R"("kind":"status","topic":"system/modem/status","retained":true,"age_s":42,)"
         R"("fields":{"state":"CONNECTED","rssi":20}})"},
        {heard("system/modem/sim", sims()),
         "12:00:00.042Z  system/modem/sim               iccid=\"8949\" imsi=\"26\\x1b\"\n",
         R"("kind":"sim","topic":"system/modem/sim","retained":false,)"
         R"("fields":{"sims":[{"iccid":"8949"},{"imsi":"26\u001b"}]}})"},
        {heard("be/status", com::Message({0x09, 0xff})),
         "12:00:00.042Z  be/status                      (no frame of this topic: shorter than its header) 09 "
         "ff\n",
         R"("kind":"backend","topic":"be/status","retained":false,)"
         R"("error":"no frame of this topic: shorter than its header","payload":"09 ff","fields":{}})"},
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

TEST(Events, OfWhatRepeatsOnlyTheChangeIsLeft)
{
    using Status = pb::ModemStatus;
    pb::ModemStatus without_rssi;
    without_rssi.set_state(Status::CONNECTED);
    const auto frame = *com::PbInternalMessageAdapter<Status>().serialize(without_rssi);
    struct {
        const char* topic;
        com::Message message;
        const char* left; // nullptr: nothing
    } const steps[] = {
        {STATUS, status_of(Status::SEARCHING, 20), "state=SEARCHING rssi=20"},
        {STATUS, status_of(Status::SEARCHING, 20), nullptr},
        {"be/status", com::Message({1}), "(no frame of this topic: shorter than its header) 01"},
        {"be/status", com::Message({1}), nullptr},
        {"be/status", com::Message({2}), "(no frame of this topic: shorter than its header) 02"},
        {STATUS, status_of(Status::CONNECTED, 20), "state=CONNECTED"},
        {STATUS, status_of(Status::CONNECTED, 20, 1'769'860'800), nullptr},
        {STATUS, status_of(Status::CONNECTED, 20, 1'769'860'810), nullptr},
        {STATUS, status_of(Status::CONNECTED, 21, 1'769'860'820), "rssi=21"},
        {STATUS, frame, "rssi=--"},
        {STATUS, com::Message({3}), "(no frame of this topic: shorter than its header) 03"},
        {STATUS, frame, "state=CONNECTED"},
        {"system/modem/sim", sims(), R"(iccid="8949" imsi="26\x1b")"},
        {"system/modem/sim", sims(), nullptr},
    };
    ChangeFilter filter;
    for (const auto& [topic, message, left] : steps) {
        const auto event = filter.pass(heard(topic, message));
        ASSERT_EQ(event.has_value(), left != nullptr) << topic << ' ' << (event ? event->what.text : left);
        if (event) {
            EXPECT_EQ(event->what.text, left);
        }
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
    int kept = 0;
    while (feed.next()) {
        ++kept;
    }
    EXPECT_EQ(kept, 39);
    feed.message("t", large);
    EXPECT_TRUE(feed.next());
}

TEST(Freshness, WhatIsRetainedTellsOfNowOnlyWhereItIsKnownToBeYoung)
{
    constexpr std::int64_t NOW = 1'000'000'000'000;
    constexpr std::int64_t SECOND = 1'000'000'000;
    struct {
        std::int64_t stamp_ns;
        bool is_retained;
        std::optional<std::int64_t> now_ns;
        std::optional<std::chrono::seconds> old;
        bool current;
    } const cases[] = {
        {NOW, true, NOW, 0s, true},
        {NOW - 300 * SECOND, true, NOW, 300s, true},
        {NOW - 301 * SECOND, true, NOW, 301s, false},
        {NOW - 301 * SECOND, false, NOW, 301s, true},
        {NOW + SECOND, true, NOW, {}, false}, // of another boot
        {-1, true, NOW, {}, false},           // as an overflow would make it
        {NOW, true, {}, {}, false},           // of another host
        {NOW, false, {}, {}, true},
    };
    for (const auto& [stamp_ns, is_retained, now_ns, old, current] : cases) {
        const auto message = stamped(stamp_ns, is_retained);
        EXPECT_EQ(age(time_stamp_of(message), now_ns), old) << stamp_ns;
        EXPECT_EQ(is_current(message, now_ns), current) << stamp_ns;
    }
    EXPECT_FALSE(is_current(retained(com::Message({1})), NOW));
}

TEST(Freshness, DurationsReadWell)
{
    const std::pair<std::chrono::seconds, const char*> cases[] = {
        {0s, "0 s"},         {59s, "59 s"},
        {60s, "1 min 00 s"}, {3599s, "59 min 59 s"},
        {1h, "1 h 00 min"},  {24h - 1s, "23 h 59 min"},
        {24h, "1 d 00 h"},   {24h * 40 + 5h, "40 d 05 h"}};
    for (const auto& [duration, text] : cases) {
        EXPECT_EQ(duration_text(duration), text);
    }
}
