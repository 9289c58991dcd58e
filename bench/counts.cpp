// One piece of work, many times, for a tool that counts what it costs (bench/check-counts): instructions,
// system calls. What the pieces allocate it counts itself. Nothing is timed.
//
//   counts line N        the parser takes a line
//   counts report N      a report on its whole way: bytes, line, queue, record
//   counts command N     the port executes a command; a quick-module answers (ROOT in CELLD_ROOT)
//   counts frame N       a status becomes a message of the bus
//
// Prints "allocations A", those of N rounds behind the first hundred.

#include "at/at_parser.hpp"
#include "at/at_tty_port.hpp"
#include "bus/message_adapter.hpp"
#include "main/configuration_defaults.hpp"
#include "modem/modem.hpp"
#include "status/status_messages.hpp"
#include "support/scripted_port.hpp"
#include "support/temp_root.hpp"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <string>

namespace {

std::atomic<long> allocations{0};

constexpr long WARM_UP = 100; // buffers have grown, function statics are made

const std::array<std::string, 4> REPORTS{"\r\n+CREG: 1,\"1F4E\",\"44A5F2\",2\r\n",
                                         "\r\n+CGREG: 1,\"1F4E\",\"44A5F2\",2,\"02\"\r\n",
                                         "\r\n+CIEV: 2,3\r\n", "\r\n+UREG: 3\r\n"};

const std::string& report(long number)
{
    return REPORTS[static_cast<std::size_t>(number) % REPORTS.size()];
}

void repeat(long times, const std::function<void(long)>& work)
{
    for (long i = 0; i < WARM_UP; ++i) {
        work(i);
    }
    const long before = allocations;
    for (long i = 0; i < times; ++i) {
        work(i);
    }
    std::cout << "allocations " << allocations - before << '\n';
}

void lines(long times)
{
    AtParser parser;
    repeat(times, [&](long i) {
        parser.feed_input(report(i));
        static_cast<void>(parser.take_responses());
    });
}

void reports(long times)
{
    constexpr long A_PASS = 100; // reports that the loop finds in its queue
    const TempRoot root;
    root.write("/etc/vexa/ecu_variables.conf", "hwvariant = QBX2\nmodemtype = SARA\nhasintsim = true\n"
                                               "hasextsim = true\ndivantenna = NONE\nhwversion = qbx\n");
    for (const std::string gpio : {"3", "9", "142", "144", "145"}) {
        root.write("/sys/class/gpio/gpio" + gpio + "/value", "0\n");
        root.write("/sys/class/gpio/gpio" + gpio + "/direction", "out\n");
    }
    ManualClock clock;
    auto port = std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    auto settings = std::make_unique<ecu::kova::config::Configuration>();
    register_defaults(*settings);
    Modem modem(std::move(settings), port, clock, ecu::kova::com::TransportType::IN_PROCESS);
    modem.init();
    AtParser parser;
    repeat(times, [&](long i) {
        parser.feed_input(report(i));
        for (const auto& response : parser.take_responses()) {
            modem.urc(response);
        }
        if (i % A_PASS == 0) {
            modem.process_urc_queue();
        }
    });
}

void commands(long times)
{
    AtTtyPort port({"/dev/ttyUbloxModemAT"});
    if (!port.wait_until_available() || !port.start().is_ok()) {
        std::cerr << "no module below CELLD_ROOT\n";
        std::exit(EXIT_FAILURE);
    }
    repeat(times, [&](long) {
        int rssi = 0;
        int ber = 0;
        if (!port.execute(AtCommand("+CSQ"), "%d,%d", &rssi, &ber).is_ok()) {
            std::cerr << "a command failed\n";
            std::exit(EXIT_FAILURE);
        }
    });
}

void frames(long times)
{
    ModemData data;
    data.operator_data.name = "Bench Mobile";
    data.module.imei = "490154203237518";
    repeat(times, [&](long) {
        const ecu::kova::com::PbInternalMessageAdapter<ecu::kova::pb::ModemStatus> adapter;
        if (!adapter.serialize(status_messages::status(data))) {
            std::exit(EXIT_FAILURE);
        }
    });
}

} // namespace

// Every allocation of the daemon's own code passes here. GCC sees through the one and not through the other.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* const place = std::malloc(size != 0 ? size : 1)) {
        return place;
    }
    throw std::bad_alloc();
}
void operator delete(void* place) noexcept
{
    std::free(place);
}
void operator delete(void* place, std::size_t) noexcept
{
    std::free(place);
}

int main(int argc, char** argv)
{
    const std::map<std::string, void (*)(long)> pieces{
        {"line", lines}, {"report", reports}, {"command", commands}, {"frame", frames}};
    const auto piece = argc == 3 ? pieces.find(argv[1]) : pieces.end();
    if (piece == pieces.end()) {
        std::cerr << "usage: counts line|report|command|frame NUMBER\n";
        return EXIT_FAILURE;
    }
    piece->second(std::atol(argv[2]));
    return EXIT_SUCCESS;
}
