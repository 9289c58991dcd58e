#pragma once

#include "snapshot.hpp"
#include "support/source_tree.hpp"

#include <sstream>

/// A message of docs/bus.md, with what `celldctl monitor` prints of it.
struct BusExample {
    std::string topic;
    ecu::kova::com::Message::Payload payload;
    std::string monitor;
};

/// The blocks whose first line is a topic, what stands behind it aside; "09 01 | protocol 1" are bytes.
inline std::vector<BusExample> bus_examples()
{
    static const std::regex topic("((?:system|rt|be)/[a-z_/]+).*");
    static const std::string monitor = "monitor: ";
    std::istringstream page(read_text(CELLD_SOURCE_DIR "/docs/bus.md"));
    std::vector<BusExample> all;
    bool inside = false; // of one
    std::smatch found;
    for (std::string line, previous; std::getline(page, line); previous = line) {
        if (previous == "```" && std::regex_match(line, found, topic)) {
            all.push_back({found[1], {}, {}});
            inside = true;
        } else if (line == "```") {
            inside = false;
        } else if (inside && line.rfind(monitor, 0) == 0) {
            all.back().monitor = line.substr(monitor.size());
        } else if (inside) {
            std::istringstream bytes(line.substr(0, line.find('|')));
            for (unsigned value = 0; bytes >> std::hex >> value;) {
                all.back().payload.push_back(static_cast<std::uint8_t>(value));
            }
        }
    }
    return all;
}

/// The unit that they are of.
inline celldctl::Snapshot documented_unit()
{
    celldctl::Snapshot bus;
    for (const auto& [topic, payload, monitor] : bus_examples()) {
        if (monitor != "state=UNKNOWN") { // the last will
            bus.take(topic, ecu::kova::com::Message(payload));
        }
    }
    return bus;
}
