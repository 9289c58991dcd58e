#include "variant/sara_modem.hpp"

#include "at/at_text.hpp"

#include <algorithm>
#include <array>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.variant.sara");

constexpr auto RF_TIMEOUT = 180s;
constexpr auto UNFM_TIMEOUT = 300s; // the module may finish a running procedure first
constexpr auto DATA_PATH_TIMEOUT = 180s;

constexpr int PORT_GONE_POLLS = 10;
constexpr auto PORT_GONE_PAUSE = 1s;
constexpr auto PWRON_PAUSE = 2s; // the line high before the supply goes

} // namespace

SaraModem::SaraModem(Clock& clock) : ModemVariant(1, LOG, clock) {}

ModemVariant::Commands SaraModem::sim_selection_sequence(defs::SimType type) const
{
    const std::string external = type == defs::SimType::EXTERNAL ? "1" : "0";
    return {
        AtCommand("+COPS=2"),
        AtCommand("+CFUN=4", RF_TIMEOUT),
        AtCommand("+UGPIOC=23,0," + external), // the switch
        AtCommand("+UGPIOC=24,0,1"),           // its enable line, whichever SIM is chosen
        AtCommand("+CFUN=1", RF_TIMEOUT),
    };
}

const ModemVariant::Commands& SaraModem::urc_cmds() const
{
    static const Commands COMMANDS{AtCommand("+UNFM=1,1", UNFM_TIMEOUT)};
    return COMMANDS;
}

ActivationCode SaraModem::activate_pdp_context(Port port) const
{
    // Starts the data path over the CDC-ECM USB interface.
    const AtCommand command("+UCEDATA=" + std::to_string(context_id()) + ",0", DATA_PATH_TIMEOUT);
    return activate_with(port, command, true);
}

bool SaraModem::deactivate_pdp_context(Port port) const
{
    return deactivate_context(port);
}

ContextState SaraModem::is_pdp_context_active(Port port) const
{
    return query_context(port, "Unable to get PDP context status: '");
}

BackoffReport SaraModem::check_backoff_timer(Port port, unsigned short interval_s,
                                             BackoffQuerySchedule& schedule) const
{
    const auto interval = std::chrono::seconds(interval_s);
    const auto now = clock().now();
    if (!schedule.next) {
        schedule.next = now + interval;
    }
    if (now < *schedule.next) {
        return {};
    }
    schedule.next = now + interval;

    LOG.debug("Query Backoff Timer");
    // +UNFM: <mode>,<urc>,<CS timer>,<PS timer>,<PDP timer>,<SMS timer>; the timers in the order of +UUNFM's
    // modes
    int mode = 0;
    int urc = 0;
    std::array<int, 4> timers{-1, -1, -1, -1};
    const auto answer = port->execute(AtCommand("+UNFM?"), "%d,%d,%d,%d,%d,%d", &mode, &urc, &timers[0],
                                      &timers[1], &timers[2], &timers[3]);
    if (!answer.is_ok()) {
        LOG.error("Unable to get Network Friendly Mode status with : ", to_log_text(answer.unwrapErr()));
        return {false, 0, true};
    }
    if (timers[0] < 0) {
        LOG.error("Unable to get Network Friendly Mode status with : no timers in '",
                  at::mask_secrets(answer.unwrap().value), "'");
        return {false, 0, true};
    }
    const int longest = std::clamp(*std::max_element(timers.begin(), timers.end()), 0, 0xffff);
    if (longest == 0) {
        LOG.notice("Back-off timer is over!");
        return {true, 0, false};
    }
    LOG.info("BO Timer remaining: CS ", timers[0], " PS ", timers[1], " PDP ", timers[2], " SMS ", timers[3]);
    LOG.info("Back-off timer is ongoing for more ", longest, "s");
    return {true, static_cast<std::uint16_t>(longest), false};
}

ModemVariant::Commands SaraModem::context_setup_sequence(const std::string& apn, const std::string& user,
                                                         const std::string& password) const
{
    const std::string cid = std::to_string(context_id());
    const std::string authentication =
        user.empty() ? R"(0,"","")" : "1,\"" + user + "\",\"" + password + "\"";
    return {
        AtCommand("+CGDCONT=" + cid + ",\"IP\",\"" + ApnText(apn).name + "\""),
        AtCommand("+UAUTHREQ=" + cid + "," + authentication),
    };
}

void SaraModem::power_off(std::shared_ptr<GpioCtrl> gpio, Port port) const
{
    ask_module_to_power_off(port);
    for (int poll = 0; poll < PORT_GONE_POLLS && port->is_available(); ++poll) {
        clock().sleep_for(PORT_GONE_PAUSE);
    }
    if (port->is_available()) {
        LOG.warning("CPWROFF didn't seem to have succeded, continue anyway ");
    }
    gpio->pwron(GpioCtrl::PinValue::HIGH);
    clock().sleep_for(PWRON_PAUSE);
    gpio->vcc(GpioCtrl::PinValue::LOW);
}
