#include "bad_broker.hpp"
#include "proof.hpp"
#include "scenario/bus_probe.hpp"
#include "support/child.hpp"

#include <malloc.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

using Family = Unit::Family;
using Manner = BadBroker::Manner;
using ecu::kova::com::Message;

constexpr const char* BLACKOUT = "rt/system/blackout_mode";

constexpr auto ON_THE_WAY = 10min;
constexpr auto MODEM_CONNECTED = pb::ModemStatus_ModemState_CONNECTED;

// The machine's time. A client waits longer from try to try, 30 seconds at most; a run that takes longer than
// `LONGEST_RUN_S` of prove has been held up.
constexpr auto PATIENCE = 80s;
constexpr auto A_LOOK = 20ms;

constexpr int FLOOD = 20'000;          // rounds of four messages, as fast as they are taken
constexpr int FLOOD_BY_BROKER = 1'000; // likewise, each of them by way of the broker
constexpr std::size_t MOST_GROWTH = 16UL * 1024UL * 1024; // bytes, while it lasts
constexpr std::size_t LARGEST = 1024UL * 1000;            // that a client of ours sends
constexpr std::size_t OVERSIZE = 2UL * 1024UL * 1024;

Message backend_is_there()
{
    pb::BackendProxyStatus status;
    status.set_status(pb::BackendProxyStatus_Status_BACKEND_CONNECTED);
    return ecu::kova::com::PbInternalMessageAdapter<pb::BackendProxyStatus>().serialize(status).value();
}

Message no_radio_silence()
{
    auto& adapter = ecu::kova::rt::SignalAdapter::instance();
    auto group = adapter.create_sg(BLACKOUT);
    static_cast<void>(group.set_signal_data("blackout_mode", {0}));
    return adapter.pack(group).value();
}

/// Passes in real time until the condition holds.
template <class Condition>
void await(const char* what, Unit& unit, Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error(std::string("waited in vain for ") + what);
        }
        unit.step();
        std::this_thread::sleep_for(A_LOOK);
    }
}

void start(Child& broker, Unit& unit)
{
    unit.write("/mosquitto.conf",
               "listener " + std::to_string(unit.broker_port()) + " 127.0.0.1\nallow_anonymous true\n");
    broker.start({"/usr/sbin/mosquitto", "-c", unit.path("/mosquitto.conf")}, "/dev/null");
}

void must_connect(Unit& unit)
{
    if (!unit.connects_within(ON_THE_WAY)) {
        throw std::runtime_error("does not connect");
    }
}

/// Who comes late is told what is.
void must_be_told(Unit& unit, int port)
{
    const BusProbe late(port, "late");
    await("the late subscriber's status", unit, [&] {
        const auto status = late.newest<pb::ModemStatus>("system/modem/status");
        return status && status->state() == MODEM_CONNECTED;
    });
}

/// The modem does not care; then there is a good broker.
template <Manner MANNER>
void beside_a_bad_broker(Unit& unit)
{
    {
        const BadBroker bad(unit.broker_port(), MANNER);
        must_connect(unit);
        await("the client's try", unit, [&bad] { return bad.connections() > 0; });
        unit.pass_for(10min);
        must_connect(unit);
    }
    Child broker;
    start(broker, unit);
    must_be_told(unit, unit.broker_port());
}

void without_a_broker(Unit& unit)
{
    must_connect(unit);
    Child broker;
    start(broker, unit);
    must_be_told(unit, unit.broker_port());
}

/// What happens meanwhile is told once it is over, and nothing grows.
void an_hour_without(Unit& unit)
{
    {
        Child broker;
        start(broker, unit);
        must_connect(unit);
        must_be_told(unit, unit.broker_port());
    }
    unit.pass_for(5min);
    const auto memory = mallinfo2().uordblks;
    for (int minute = 0; minute < 55; ++minute) {
        unit.module.urc("+CREG: 2,\"1A2B\",\"01C3D4E" + std::to_string(minute % 10) + "\",2");
        unit.pass_for(1min);
    }
    if (mallinfo2().uordblks > memory + MOST_GROWTH) {
        unit.watch.breaks("memory", "grows while the broker is away");
    }
    must_connect(unit);
    Child broker;
    start(broker, unit);
    must_be_told(unit, unit.broker_port());
}

/// Of messages that change nothing, cannot be read, or are too large; `send` insists until each is taken.
template <class Send>
void flood(int rounds, std::size_t largest, const Send& send)
{
    const auto good = backend_is_there();
    const auto off = no_radio_silence();
    for (int i = 0; i < rounds; ++i) {
        send("be/status", good);
        send(BLACKOUT, off);
        send("be/status", Message(Message::Payload(static_cast<std::size_t>(i % 100), 0xff)));
        send(BLACKOUT, Message(Message::Payload(i % 100 == 0 ? largest : 3, 1)));
    }
    send("be/status", good);
}

/// Passes while another thread does it.
template <class Work>
void pass_during(const char* what, Unit& unit, Work work)
{
    std::atomic<bool> over{false};
    std::jthread other([&](const std::stop_token& stop) {
        work(stop);
        over = true;
    });
    await(what, unit, [&over] { return over.load(); });
}

void a_flood(Unit& unit)
{
    Child broker;
    start(broker, unit);
    must_connect(unit);
    must_be_told(unit, unit.broker_port());
    const auto memory = mallinfo2().uordblks;
    pass_during("the end of a flood from the broker", unit, [&unit](const std::stop_token& stop) {
        BusProbe vehicle(unit.broker_port(), "vehicle");
        flood(FLOOD_BY_BROKER, LARGEST, [&](const std::string& topic, const Message& message) {
            while (!stop.stop_requested() && !vehicle.publish(topic, message)) {
                std::this_thread::sleep_for(1ms);
            }
        });
    });
    pass_during("the end of a flood", unit, [&unit](const std::stop_token& stop) {
        flood(FLOOD, OVERSIZE, [&](const std::string& topic, const Message& message) {
            if (!stop.stop_requested()) {
                unit.modem().message(topic, message); // as the bus client's thread does
            }
        });
    });
    unit.pass_for(1min);
    if (mallinfo2().uordblks > memory + MOST_GROWTH) {
        unit.watch.breaks("memory", "grows with a flood");
    }
    must_connect(unit);
}

struct Case {
    const char* name;
    void (*what)(Unit&);
};

const std::vector<Case> CASES{
    {"no broker at the start", without_a_broker},
    {"a broker that is deaf", beside_a_bad_broker<Manner::DEAF>},
    {"a broker that is slow", beside_a_bad_broker<Manner::SLOW>},
    {"a broker that refuses the login", beside_a_bad_broker<Manner::REFUSING>},
    {"a broker that hangs up on every message", beside_a_bad_broker<Manner::DROPPING>},
    {"a broker that is none", beside_a_bad_broker<Manner::BABBLING>},
    {"no broker for an hour", an_hour_without},
    {"a flood", a_flood},
};

} // namespace

std::vector<Run> bus_side(Family family, unsigned long)
{
    std::vector<Run> runs;
    for (const auto& one : CASES) {
        runs.push_back({name_of(family) + ": " + one.name, family, one.what, {}});
        runs.back().all_good = false; // told on another bus
        runs.back().kind.mqtt = true;
    }
    return runs;
}
