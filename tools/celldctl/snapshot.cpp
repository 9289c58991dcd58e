#include "snapshot.hpp"

#include "bus/message_adapter.hpp"

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
        return {Presence::UNREADABLE, {}};
    }
    com::PbInternalMessageAdapter<T> adapter;
    adapter.log_refusals(false);
    auto result = adapter.deserialize(message);
    return {result ? Presence::PRESENT : Presence::UNREADABLE, std::move(result.value)};
}

} // namespace

void Snapshot::take(const std::string& topic, const com::Message& message)
{
    namespace pb = ecu::kova::pb;
    if (topic == "system/modem/status") {
        status = read<pb::ModemStatus>(message);
    } else if (topic == "system/modem/registration") {
        registration = read<pb::ModemRegistration>(message);
    } else if (topic == "system/modem/hardware") {
        hardware = read<pb::ModemHardware>(message);
    } else if (topic == "system/modem/sim") {
        sim = read<pb::ModemSimInformation>(message);
    } else if (topic == "be/status") {
        backend = read<pb::BackendProxyStatus>(message);
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
    return {{{"status", status.presence},
             {"registration", registration.presence},
             {"hardware", hardware.presence},
             {"sim", sim.presence},
             {"backend", backend.presence}}};
}

} // namespace celldctl
