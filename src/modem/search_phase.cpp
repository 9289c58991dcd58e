#include "modem/search_phase.hpp"

#include <ecu/kova/logging.hpp>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

/// Before " timer expired".
const char* name_of_timer(ModemState state)
{
    if (state == S::DISCONNECTED) {
        return "Disconnected";
    }
    return state == S::SEARCHING ? "Searching" : "Network search re-attach";
}

} // namespace

SearchPhase::SearchPhase(StateMachine& machine, RegistrationWatch& registration, NetworkSearch& search,
                         Resets& resets, const ModemLimits& limits)
    : machine_(machine), registration_(registration), search_(search), resets_(resets),
      reattach_(limits.nw_search_reattach_timer), module_reset_(limits.nw_search_modem_reset_timer)
{
}

void SearchPhase::entered(ModemState, ModemState from)
{
    if (!row_of(from).traits.searching) {
        reattach_.restart();
        module_reset_.restart();
    }
}

Pass SearchPhase::step(ModemState now)
{
    registration_.update();
    registration_.follow();
    if (now != S::REGISTERING) {
        return machine_.state() == now ? count_pass(now) : Pass{};
    }
    if (machine_.state() == S::REGISTERED) {
        return {}; // nothing to search for
    }
    keep_searching();
    return count_pass(now);
}

void SearchPhase::keep_searching()
{
    if (!search_.query_active()) {
        reattach_.restart();
        static_cast<void>(search_.start()); // the next pass sees whether it searches
    }
    LOG.debug("NW Search re-attached counter: ", reattach_.count());
    LOG.debug("NW Search modem reset counter: ", module_reset_.count());
}

/// A pass without registration: rests, starts the search anew every two minutes, resets the module after half
/// an hour (with the default limits).
Pass SearchPhase::count_pass(ModemState now)
{
    if (module_reset_.expired()) {
        LOG.warning("Network search modem reset timer expired (", module_reset_.limit(),
                    " seconds), enforce re-registration!");
        resets_.prepare(pb::ModemStatus_ModemResetReason_NETWORK_SEARCH_TIMEOUT,
                        "no registration in " + std::to_string(module_reset_.limit()) + " s of search");
        return {};
    }
    module_reset_.tick();
    if (!reattach_.expired()) {
        reattach_.tick();
        return {false, PASS_PAUSE};
    }
    LOG.warning(name_of_timer(now), " timer expired (", reattach_.limit(),
                " seconds), enforce re-registration!");
    reattach_.restart();
    restart_search();
    return {};
}

void SearchPhase::restart_search()
{
    const auto stopped = search_.stop();
    registration_.forget();
    if (!stopped.is_ok() && stopped.unwrapErr().is_interruption()) {
        return;
    }
    if (machine_.state() != S::REGISTERING) {
        machine_.change(S::REGISTERING, "search begun anew"); // which starts it
    } else if (stopped.is_ok()) {
        static_cast<void>(search_.start()); // the next pass sees whether it searches
    } else {
        LOG.error(
            "Unable to stop network search, the modem hw seem to be misbehaving, enforce modem reset (via "
            "timer)!");
        module_reset_.exhaust();
    }
}
