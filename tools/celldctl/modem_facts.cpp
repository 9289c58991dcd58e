#include "modem_facts.hpp"

#include "fields.hpp"
#include "freshness.hpp"

#include <algorithm>

namespace celldctl {

namespace {

namespace pb = ecu::kova::pb;

std::optional<std::string> known_text(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<std::int64_t> known_number(bool present, std::uint32_t number)
{
    return present ? std::optional<std::int64_t>(number) : std::nullopt;
}

void add_registration(ModemFacts& facts, const pb::ModemRegistration& registration)
{
    using Registration = pb::ModemRegistration;
    if (registration.has_registration_status()) {
        facts.registration = Registration::RegistrationStatus_Name(registration.registration_status());
    }
    if (registration.has_ext_ps_reg_status()) {
        facts.packet_service = Registration::ExtPSRegStatus_Name(registration.ext_ps_reg_status());
    }
    if (registration.has_radio_access_technology()) {
        const auto technology = registration.radio_access_technology();
        facts.technology = technology == Registration::INVALID
                               ? std::nullopt
                               : std::optional(Registration::RadioAccessTechnology_Name(technology));
    }
}

/// <rssi> of +CSQ, 3GPP TS 27.007: 0 to 31 stand for -113 to -51 dBm, 99 for unknown.
std::optional<std::int64_t> dbm_of(const pb::ModemStatus& status)
{
    if (!status.has_rssi() || status.rssi() < 0 || status.rssi() > 31) {
        return std::nullopt;
    }
    return -113 + 2 * status.rssi();
}

/// The module's own indicator (+CIEV: 2,<n>); before its first, from the strength by the limits in dBm that
/// the module's AT manual gives for it.
std::optional<std::int64_t> bars_of(const pb::ModemStatus& status)
{
    constexpr std::array<std::int64_t, MOST_BARS> LIMITS_DBM{-105, -93, -81, -69, -57};
    if (status.has_signal_quality() && status.signal_quality() >= 0 && status.signal_quality() <= MOST_BARS) {
        return status.signal_quality();
    }
    const auto dbm = dbm_of(status);
    if (!dbm) {
        return std::nullopt;
    }
    return std::count_if(LIMITS_DBM.begin(), LIMITS_DBM.end(), [&](auto limit) { return *dbm >= limit; });
}

void add_cell(ModemFacts& facts, const pb::ModemLocation& cell)
{
    facts.mcc = known_number(cell.has_mcc(), cell.mcc());
    facts.mnc = known_number(cell.has_mnc(), cell.mnc());
    facts.area_code = known_number(cell.has_area_code(), cell.area_code());
    facts.cell_id = known_number(cell.has_cell_id(), cell.cell_id());
    facts.routing_area_code = known_number(cell.has_routing_area_code(), cell.routing_area_code());
}

/// The daemon's last will is a status of an unknown state and nothing else.
bool is_last_will(const pb::ModemStatus& status)
{
    return status.has_state() && status.state() == pb::ModemStatus::UNKNOWN && !status.has_reset_reason();
}

void add_status(ModemFacts& facts, const pb::ModemStatus& status)
{
    if (status.has_state()) {
        facts.state = pb::ModemStatus::ModemState_Name(status.state());
        facts.connected = status.state() == pb::ModemStatus::CONNECTED;
    }
    if (status.has_reset_reason()) {
        facts.reset_reason = pb::ModemStatus::ModemResetReason_Name(status.reset_reason());
    }
    if (status.has_active_sim()) {
        facts.active_sim = pb::ModemSimType_Name(status.active_sim());
    }
    if (status.network_time_utc_us() > 0) {
        facts.network_time = utc_time(status.network_time_utc_us());
    }
    facts.daemon_gone = is_last_will(status);
    facts.operator_name = known_text(status.operator_name());
    facts.operator_id = known_text(status.operator_id());
    facts.sim_operator_name = known_text(status.sim_operator_name());
    facts.rssi_dbm = dbm_of(status);
    facts.bars = bars_of(status);
    add_cell(facts, status.location());
}

void add_sims(ModemFacts& facts, const pb::ModemSimInformation& information)
{
    if (information.has_active()) {
        facts.active_sim = pb::ModemSimType_Name(information.active());
    }
    for (const auto& sim : information.sim()) {
        SimFacts known{{}, known_text(sim.iccid()), known_text(sim.imsi()), false};
        if (sim.has_type()) {
            known.type = pb::ModemSimType_Name(sim.type());
            known.active = known.type == facts.active_sim;
        }
        if ((known.iccid || known.imsi) && facts.sims.size() < MOST_SIMS) {
            facts.sims.push_back(std::move(known));
        }
    }
}

void add_ages(ModemFacts& facts, const Snapshot& snapshot, std::optional<std::int64_t> now_ns)
{
    for (const auto& piece : snapshot.pieces()) {
        const auto known = age(piece.stamp_ns, now_ns);
        facts.ages_s.emplace_back(piece.name, known ? std::optional(known->count()) : std::nullopt);
    }
    const auto& status = snapshot.status;
    const auto status_age = age(status.stamp_ns, now_ns);
    facts.stale = status.presence == Presence::PRESENT && status.retained && now_ns &&
                  (!status_age || *status_age > LONGEST_SILENCE);
    facts.bridge_up = snapshot.bridge_up;
    facts.stale = facts.stale || facts.bridge_up == false;
    facts.connected = facts.connected && !facts.stale;
}

} // namespace

ModemFacts facts_of(const Snapshot& snapshot, std::optional<std::int64_t> now_ns)
{
    ModemFacts facts;
    add_status(facts, snapshot.status.value);
    add_ages(facts, snapshot, now_ns);
    add_registration(facts, snapshot.status.value.registration());
    add_registration(facts, snapshot.registration.value);
    add_sims(facts, snapshot.sim.value);
    facts.manufacturer = known_text(snapshot.hardware.value.manufacturer());
    facts.model = known_text(snapshot.hardware.value.model());
    facts.imei = known_text(snapshot.hardware.value.imei());
    if (snapshot.backend.value.has_status()) {
        facts.backend = pb::BackendProxyStatus::Status_Name(snapshot.backend.value.status());
    }
    return facts;
}

} // namespace celldctl
