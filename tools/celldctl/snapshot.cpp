#include "snapshot.hpp"

#include "bus/message_adapter.hpp"
#include "freshness.hpp"

#include <algorithm>

namespace celldctl {

namespace {

namespace com = ecu::kova::com;

constexpr std::size_t LONGEST_FRAME = 16'384; // the daemon's longest have some hundred bytes

template <class T>
Piece<T> read(const com::Message& message)
{
    if (message.payload().empty()) {
        return {}; // so a retained message is taken off the bus
    }
    if (message.payload().size() > LONGEST_FRAME) {
        return {Presence::UNREADABLE, {}, {}, message.retained()};
    }
    com::PbInternalMessageAdapter<T> adapter;
    adapter.log_refusals(false);
    auto result = adapter.deserialize(message);
    if (!result) {
        return {Presence::UNREADABLE, {}, {}, message.retained()};
    }
    return {Presence::PRESENT, std::move(result.value), time_stamp_of(message), message.retained()};
}

} // namespace

std::optional<bool> bridge_is_up(const com::Message& message)
{
    const auto& payload = message.payload();
    if (payload.size() != 1 || (payload[0] != '0' && payload[0] != '1')) {
        return std::nullopt;
    }
    return payload[0] == '1';
}

void Snapshot::take(const std::string& topic, const com::Message& message)
{
    namespace pb = ecu::kova::pb;
    if (topic == STATUS_TOPIC) {
        status = read<pb::ModemStatus>(message);
    } else if (topic == "system/modem/registration") {
        registration = read<pb::ModemRegistration>(message);
    } else if (topic == "system/modem/hardware") {
        hardware = read<pb::ModemHardware>(message);
    } else if (topic == "system/modem/sim") {
        sim = read<pb::ModemSimInformation>(message);
    } else if (topic == "be/status") {
        backend = read<pb::BackendProxyStatus>(message);
    } else if (topic == BRIDGE_TOPIC) {
        bridge_up = bridge_is_up(message);
    }
}

bool Snapshot::complete() const
{
    const auto all = pieces();
    return std::all_of(all.begin(), all.end(),
                       [](const auto& piece) { return piece.presence != Presence::MISSING; });
}

std::array<Snapshot::NamedPresence, 5> Snapshot::pieces() const
{
    return {{{"status", status.presence, status.stamp_ns},
             {"registration", registration.presence, registration.stamp_ns},
             {"hardware", hardware.presence, hardware.stamp_ns},
             {"sim", sim.presence, sim.stamp_ns},
             {"backend", backend.presence, backend.stamp_ns}}};
}

std::string Snapshot::names(Presence presence) const
{
    std::string list;
    for (const auto& piece : pieces()) {
        if (piece.presence == presence) {
            list.append(list.empty() ? "" : ", ").append(piece.name);
        }
    }
    return list;
}

} // namespace celldctl
