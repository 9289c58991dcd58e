#pragma once

#include "module/session.hpp"
#include "radio/network.hpp"

#include <optional>
#include <string>

namespace bench {

/// Indicators of +CIND and +CIEV in the modules' AT manual.
enum class Indicator { SIGNAL = 2, SERVICE = 3, ROAM = 7, GPRS = 9, SIM = 12 };

/// The command that reports a domain: +CREG, +CGREG, +CEREG.
const char* registration_command(Network::Domain domain);

/// +CREG: [<n>,]<stat>[,<lac>,<ci>,<AcT>[,<rac>]] (3GPP TS 27.007, 7.2, 10.1.20, 10.1.22); `n` of the setting
/// decides whether the place is told, `read` whether <n> is.
std::string registration_line(const Network& network, Network::Domain domain, int n, bool read);

/// The report of an indicator, when +CMER and the mask of +UCIND ask for it.
std::optional<std::string> indicator_line(const Session& session, Indicator indicator, int value);

/// Signal indicator, 0 to 5, of a +CSQ value: steps of 12 dB from -105 dBm up.
int signal_quality(int rssi);

/// State of +UREG: 0 none, 1 GPRS, 2 EDGE, 3 WCDMA, 6 HSDPA and HSUPA, 7 LTE.
int packet_state(const Network& network);

} // namespace bench
