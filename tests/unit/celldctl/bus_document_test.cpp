#include "bus/publish.hpp"
#include "bus_examples.hpp"
#include "describe.hpp"
#include "status/status_publisher.hpp"
#include "support/manual_clock.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>

// docs/bus.md shows every message byte by byte: they are what the daemon says, and `celldctl monitor` prints
// what the page says that it prints.

namespace {

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;

using Bytes = com::Message::Payload;

/// A bus that keeps what it is given, the time of a frame aside.
class Keeper : public com::ITransportClient {
public:
    bool publish(const std::string& topic, const com::Message& message) override
    {
        said[topic].insert(timeless(topic, message.payload()));
        return true;
    }
    bool subscribe(const std::string& /*topic*/, std::weak_ptr<com::ISubscriptionObserver>) override
    {
        return true;
    }
    bool flush(std::chrono::milliseconds) override { return true; }
    bool is_connected() const override { return true; }
    bool last_will(const std::string& topic, const com::Message& message) override
    {
        return publish(topic, message);
    }

    static Bytes timeless(const std::string& topic, Bytes bytes)
    {
        if (topic.rfind("rt/", 0) != 0 && bytes.size() >= com::XRT_HEADER_LENGTH) {
            std::fill_n(bytes.begin() + 10, 8, std::uint8_t{0});
        }
        return bytes;
    }

    std::map<std::string, std::set<Bytes>> said;
};

void fill(ModemData& data)
{
    data.pb_state(pb::ModemStatus::CONNECTED);
    data.pb_reset_reason(pb::ModemStatus::BACKEND_TIMEOUT);
    data.module = {"490154203237518", "u-blox", "TOBY-L210"};
    data.sim.internal.iccid = "89490200001234567890";
    data.sim.internal.imsi = "262011234567890";
    data.sim.active = defs::SimType::INTERNAL;
    data.nw_reg.c_reg = 5;
    data.nw_reg.ureg = 7;
    data.nw_reg.rat = 7;
    data.operator_data = {"26201", "Example Net", "Fleet"};
    data.location = {262, 1, 0x1a2b, 0x01a2d003, 0};
    data.time = {1'769'860'800'000'000, 95'000'000'000};
    data.antenna.rssi(17);
    data.antenna.signal_quality(defs::SignalQuality::BELOW_69);
}

/// What the daemon says of that record, its signals, and what it hears.
void say_everything(const std::shared_ptr<Keeper>& keeper)
{
    ManualClock clock;
    ModemData data;
    fill(data);
    StatusPublisher publisher(data, keeper, clock);
    publisher.leave_last_will();
    publisher.hardware_on_change();
    publisher.sim_on_change();
    publisher.status();
    data.sim.active = defs::SimType::EXTERNAL;
    data.sim.external.iccid = "89882390000011112222";
    StatusPublisher(data, keeper, clock).sim_on_change();

    const std::shared_ptr<com::ITransportClient> bus = keeper;
    for (const auto& [topic, value] : std::map<std::string, std::uint8_t>{
             {"rt/system/modem_rssi", 17},
             {"rt/system/status_ext_sim_card_pin_locked", 1},
             {"rt/system/status_cellular_antenna_open_circuit", 1},
             {"rt/system/status_cellular_antenna_short_to_ground", 0},
             {"rt/system/status_modem_module_error", 1},
             {"rt/system/blackout_mode", 1},
         }) {
        utils::publish_rt_data_raw(bus, topic, {value});
    }
    pb::BackendProxyStatus backend;
    backend.set_status(pb::BackendProxyStatus::BACKEND_CONNECTED);
    auto client = bus;
    utils::publish_protobuf(client, backend, "be/status", false);
}

} // namespace

TEST(BusDocument, ShowsWhatTheDaemonSaysOfEveryTopicAndWhatMonitorPrints)
{
    const auto keeper = std::make_shared<Keeper>();
    say_everything(keeper);
    std::set<std::string> shown;
    for (const auto& [topic, payload, monitor] : bus_examples()) {
        shown.insert(topic);
        const auto& said = keeper->said[topic];
        EXPECT_EQ(said.count(Keeper::timeless(topic, payload)), 1U)
            << topic << " is " << testing::PrintToString(said);
        EXPECT_EQ(celldctl::describe(topic, com::Message(payload)).text, monitor) << topic;
    }
    std::set<std::string> known;
    for (const auto& [topic, file] : found_in_the_sources(R"x("((?:system|rt|be)/[a-z_/]*[a-z_])")x")) {
        known.insert(topic);
    }
    EXPECT_EQ(shown, known);
}
