#include "bus/publish.hpp"
#include "describe.hpp"
#include "status/status_publisher.hpp"
#include "support/manual_clock.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

// docs/bus.md shows every message byte by byte: they are what the daemon says, and `celldctl monitor` prints
// what the page says that it prints.

namespace {

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;

using Bytes = com::Message::Payload;

struct Example {
    std::string topic;
    Bytes payload;
    std::string monitor;
};

/// "09 01 | protocol 1": the bytes in front of the bar.
void append_bytes(const std::string& line, Bytes& bytes)
{
    std::istringstream in(line.substr(0, line.find('|')));
    for (unsigned value = 0; in >> std::hex >> value;) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
}

/// The blocks whose first line is a topic, what stands behind it aside.
std::vector<Example> examples()
{
    std::ifstream page(CELLD_SOURCE_DIR "/docs/bus.md");
    static const std::regex topic(R"((system|rt|be)/[a-z_/]+.*)");
    static const std::string monitor = "monitor: ";
    std::vector<Example> all;
    bool inside = false;
    bool of_a_message = false;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("```", 0) == 0) {
            inside = !inside;
            of_a_message = false;
        } else if (inside && std::regex_match(line, topic)) {
            all.push_back({line.substr(0, line.find(' ')), {}, {}});
            of_a_message = true;
        } else if (of_a_message && line.rfind(monitor, 0) == 0) {
            all.back().monitor = line.substr(monitor.size());
        } else if (of_a_message) {
            append_bytes(line, all.back().payload);
        }
    }
    return all;
}

std::string hex_of(const Bytes& bytes)
{
    std::ostringstream out;
    for (const auto byte : bytes) {
        out << std::hex << std::setw(2) << std::setfill('0') << static_cast<unsigned>(byte) << ' ';
    }
    return out.str();
}

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

    static std::string timeless(const std::string& topic, Bytes bytes)
    {
        constexpr std::size_t TIME = 10;
        if (topic.rfind("rt/", 0) != 0 && bytes.size() >= com::XRT_HEADER_LENGTH) {
            std::fill_n(bytes.begin() + TIME, 8, std::uint8_t{0});
        }
        return hex_of(bytes);
    }

    std::map<std::string, std::set<std::string>> said;
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

/// The topics that stand in the daemon's source.
std::set<std::string> topics_in_the_source()
{
    static const std::regex literal(R"x("((system|rt|be)/[a-z_/]*[a-z_])")x");
    std::set<std::string> all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(CELLD_SOURCE_DIR "/src")) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::ifstream in(entry.path());
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        for (std::sregex_iterator at(text.begin(), text.end(), literal), none; at != none; ++at) {
            all.insert((*at)[1]);
        }
    }
    return all;
}

} // namespace

TEST(BusDocument, ShowsWhatTheDaemonSaysOfEveryTopic)
{
    const auto keeper = std::make_shared<Keeper>();
    say_everything(keeper);
    std::set<std::string> shown;
    for (const auto& [topic, payload, monitor] : examples()) {
        shown.insert(topic);
        const auto& said = keeper->said[topic];
        EXPECT_EQ(said.count(Keeper::timeless(topic, payload)), 1U)
            << topic << " is " << testing::PrintToString(said);
    }
    EXPECT_EQ(shown, topics_in_the_source());
}

TEST(BusDocument, ShowsWhatMonitorPrints)
{
    const auto all = examples();
    EXPECT_GT(all.size(), 15U);
    for (const auto& [topic, payload, monitor] : all) {
        EXPECT_EQ(celldctl::describe(topic, com::Message(payload)).text, monitor) << topic;
    }
}
