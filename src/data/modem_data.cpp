#include "data/modem_data.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using registration::Domain;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.pbstate");

std::size_t index_of(Domain domain)
{
    return static_cast<std::size_t>(domain);
}

} // namespace

bool ModemData::NwRegStatus::is_registered() const
{
    return registration::is_registered(c_reg);
}

int ModemData::NwRegStatus::deciding_status() const
{
    for (const int status : {c_reg, cg_reg, ce_reg}) {
        if (registration::is_registered(status)) {
            return status;
        }
    }
    return c_reg;
}

bool ModemData::NwRegStatus::packet_domain_usable() const
{
    return registration::is_registered(cg_reg) || registration::is_registered(ce_reg);
}

std::string ModemData::NwRegStatus::text() const
{
    std::string text;
    const auto line = [&text](const char* label, defs::EnumMap map, int value) {
        text += label + defs::text_of(map, value) + " (" + std::to_string(value) + ")\n";
    };
    line("    general CREG: ", defs::CREG_ENUM_MAP, c_reg);
    line("    GPRS   CGREG: ", defs::CREG_ENUM_MAP, cg_reg);
    line("    LTE    CEREG: ", defs::CREG_ENUM_MAP, ce_reg);
    line("             RAT: ", defs::RAT_ENUM_MAP, rat);
    line("            UREG: ", defs::UREG_ENUM_MAP, ureg);
    return text;
}

ModemData::Sim& ModemData::SimCards::of(defs::SimType type)
{
    return type == defs::SimType::EXTERNAL ? external : internal;
}

const ModemData::Sim& ModemData::SimCards::of(defs::SimType type) const
{
    return type == defs::SimType::EXTERNAL ? external : internal;
}

defs::SignalQuality ModemData::Antenna::signal_quality() const
{
    const threads::MutexLock lock(mutex_);
    return signal_quality_;
}

void ModemData::Antenna::signal_quality(const defs::SignalQuality& quality)
{
    const threads::MutexLock lock(mutex_);
    signal_quality_ = quality;
}

void ModemData::Antenna::forget()
{
    signal_quality(defs::SignalQuality::UNKNOWN);
    rssi(-1);
}

void ModemData::apply(Domain domain, const registration::Update& update)
{
    DomainRecord& record = domains_[index_of(domain)];
    record.status = update.status;
    const auto take = [](auto& field, const auto& news) {
        if (news) {
            field = news;
        }
    };
    take(record.area, update.area);
    take(record.cell, update.cell);
    take(record.access_technology, update.access_technology);
    if (update.area) {
        record.routing_area.reset(); // belonged to the cell that was left
    }
    take(record.routing_area, update.routing_area);
    if (update.status == registration::stat::DENIED) {
        take(nw_reg.reject_cause, update.reject_cause);
    } else if (registration::is_registered(update.status)) {
        nw_reg.reject_cause.reset();
    }
    nw_reg.c_reg = domains_[index_of(Domain::CS)].status;
    nw_reg.cg_reg = domains_[index_of(Domain::PS)].status;
    nw_reg.ce_reg = domains_[index_of(Domain::EPS)].status;
    settle(domain);
}

/// The registered domain that can tell, EPS before GPRS before circuit-switched; null when none can.
template <class Can>
const ModemData::DomainRecord* ModemData::registered_record(Can can_tell) const
{
    for (const Domain domain : {Domain::EPS, Domain::PS, Domain::CS}) {
        const DomainRecord& record = domains_[index_of(domain)];
        if (registration::is_registered(record.status) && can_tell(record)) {
            return &record;
        }
    }
    return nullptr;
}

/// Where no registered domain can tell, the latest news counts.
void ModemData::settle(Domain latest)
{
    const auto& news = domains_[index_of(latest)];
    const auto* by_rat = registered_record([](const auto& record) {
        return record.access_technology.value_or(defs::RAT_INVALID) != defs::RAT_INVALID;
    });
    if (by_rat == nullptr) { // one that says "unknown" still counts before one that is not registered
        by_rat = registered_record([](const auto& record) { return record.access_technology.has_value(); });
    }
    nw_reg.rat = (by_rat != nullptr ? *by_rat : news).access_technology.value_or(nw_reg.rat);
    const auto* placed = registered_record([](const auto& record) { return record.area.has_value(); });
    const auto& by_place = placed != nullptr ? *placed : news;
    if (by_place.area) {
        location.area_c = *by_place.area;
        location.cell_id = by_place.cell.value_or(location.cell_id);
        location.r_ac = by_place.routing_area.value_or(0);
    }
}

void ModemData::reset()
{
    nw_reg = NwRegStatus{};
    operator_data = OperatorData{};
    location = LocationData{};
    domains_ = {};
    card_removed = false;
}

void ModemData::pb_state(pb::ModemStatus_ModemState state)
{
    if (state == pb_state_) {
        return;
    }
    LOG.notice("change pb_state from '", pb::ModemStatus_ModemState_Name(pb_state_), "' to '",
               pb::ModemStatus_ModemState_Name(state), "'");
    pb_state_ = state;
}

void ModemData::pb_reset_reason(pb::ModemStatus_ModemResetReason reason)
{
    if (reason == pb_reset_reason_) {
        return;
    }
    LOG.notice("Set reset reason from '", pb::ModemStatus_ModemResetReason_Name(pb_reset_reason_), "' to '",
               pb::ModemStatus_ModemResetReason_Name(reason), "'");
    pb_reset_reason_ = reason;
}
