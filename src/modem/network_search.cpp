#include "modem/network_search.hpp"

#include "at/fields.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto OPERATOR_TIMEOUT = 180s; // +COPS: up to 3 minutes (AT manual)
constexpr int AUTOMATIC_SELECTION = 0;  // <mode> of +COPS

} // namespace

NetworkSearch::NetworkSearch(AtTtyPort& port, Clock& pauses)
    : port_(port), pauses_(pauses),
      unknown_(LOG, ecu::kova::logging::Level::WARNING, "the operator selection (+COPS?)", pauses)
{
}

bool NetworkSearch::query_active()
{
    if (!active_) {
        active_ = ask();
    }
    return *active_;
}

bool NetworkSearch::ask()
{
    // +COPS: <mode>[,<format>,"<oper>"[,<AcT>]]
    const auto answer = port_.execute(AtCommand("+COPS?", OPERATOR_TIMEOUT));
    if (!answer.is_ok()) {
        unknown_.failed("Unable to query the operator selection (+COPS?): ", to_log_text(answer.unwrapErr()));
        return false;
    }
    unknown_.succeeded();
    return at::Fields(answer.unwrap(), "+COPS")[0].decimal() == AUTOMATIC_SELECTION;
}

Result NetworkSearch::start()
{
    active_.reset();
    auto answer = port_.execute(AtCommand("+COPS=0", OPERATOR_TIMEOUT));
    if (answer.is_ok()) {
        LOG.notice("Set automatic operator selection, start NW search.");
    } else {
        LOG.warning("Unable to start the NW search (+COPS=0): ", to_log_text(answer.unwrapErr()));
    }
    return answer;
}

Result NetworkSearch::stop(unsigned int seconds)
{
    active_.reset();
    auto answer = port_.execute(AtCommand("+COPS=2", OPERATOR_TIMEOUT));
    if (answer.is_ok()) {
        LOG.notice("Stop automatic operator selection, stop NW search. Wait ", seconds, " seconds");
        pauses_.sleep_for(std::chrono::seconds(seconds));
    } else {
        LOG.warning("Unable to stop the NW search (+COPS=2): ", to_log_text(answer.unwrapErr()));
    }
    return answer;
}
