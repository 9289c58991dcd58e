#include "module/reports.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace bench {
namespace {

/// Where the bench's only cell is.
constexpr unsigned AREA_CODE = 0x1F4E;
constexpr unsigned CELL_ID = 0x044A5F2;
constexpr unsigned ROUTING_AREA = 0x02;

constexpr int REJECT_CAUSE = 15; ///< "No suitable cells in tracking area", 3GPP TS 24.301 clause 9.9.3.9

std::string place(const Network& network, Network::Domain domain)
{
    std::array<char, 64> text{};
    const int act = network.surroundings().act;
    if (domain == Network::Domain::PS) {
        std::snprintf(text.data(), text.size(), R"(,"%04X","%X",%d,"%02X")", AREA_CODE, CELL_ID, act,
                      ROUTING_AREA);
    } else {
        std::snprintf(text.data(), text.size(), R"(,"%04X","%X",%d)", AREA_CODE, CELL_ID, act);
    }
    return text.data();
}

} // namespace

const char* registration_command(Network::Domain domain)
{
    switch (domain) {
    case Network::Domain::CS:
        return "+CREG";
    case Network::Domain::PS:
        return "+CGREG";
    case Network::Domain::EPS:
        return "+CEREG";
    }
    return "+CREG";
}

std::string registration_line(const Network& network, Network::Domain domain, int n, bool read)
{
    const auto stat = network.stat(domain);
    std::string line = std::string(registration_command(domain)) + ": " +
                       (read ? std::to_string(n) + "," : "") + std::to_string(static_cast<int>(stat));
    if (n >= 2 && network.registered(domain)) {
        line += place(network, domain);
    }
    if (n >= 3 && stat == Stat::DENIED) {
        line += ",,,,0," + std::to_string(REJECT_CAUSE); // cause type 0: an EMM cause
    }
    return line;
}

std::optional<std::string> indicator_line(const Session& session, Indicator indicator, int value)
{
    const int number = static_cast<int>(indicator);
    const bool reported = session.number("+CMER", 0) != 0 && session.number("+CMER", 3) != 0;
    const bool wanted = (session.number("+UCIND", 0) >> (number - 1) & 1) != 0;
    if (!reported || !wanted) {
        return std::nullopt;
    }
    return "+CIEV: " + std::to_string(number) + "," + std::to_string(value);
}

int signal_quality(int rssi)
{
    const int dbm = 2 * rssi - 113; // 3GPP TS 27.007 clause 8.5
    return dbm < -105 ? 0 : std::min((dbm + 105) / 12 + 1, 5);
}

int packet_state(const Network& network)
{
    if (!network.attached()) {
        return 0;
    }
    switch (network.surroundings().act) {
    case 0:
    case 1:
        return 1; // GPRS
    case 3:
        return 2; // EDGE
    case ACT_UTRAN:
        return 3; // WCDMA
    case ACT_EUTRAN:
        return 7; // LTE
    default:
        return 6; // HSDPA and HSUPA
    }
}

} // namespace bench
