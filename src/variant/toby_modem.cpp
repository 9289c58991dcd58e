#include "variant/toby_modem.hpp"

#include <cctype>
#include <utility>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.variant.toby");

constexpr auto RF_TIMEOUT = 180s;
constexpr auto ACTIVATION_TIMEOUT = 180s;

constexpr int VINT_POLLS = 20;       // a second apart, after +CPWROFF
constexpr int VINT_POLLS_RESET = 17; // more, once only the reset line is left
constexpr auto VINT_PAUSE = 1s;

// +UCGDFLT's parameters between APN and authentication: address allocation, compression and the like, as the
// module's manual gives them for a plain default bearer.
constexpr const char* DEFAULT_BEARER_OPTIONS = "0,0,0,0,0,0,0,0,0,1,0,0,1,0,0,0,0,";

std::string quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

} // namespace

TobyModem::TobyModem(Clock& clock) : TobyModem(EthernetSettings{}, clock) {}

TobyModem::TobyModem(EthernetSettings ethernet, Clock& clock)
    : ModemVariant(1, LOG, clock), ethernet_(std::move(ethernet))
{
}

ModemVariant::Commands TobyModem::sim_selection_sequence(defs::SimType type) const
{
    const std::string external = type == defs::SimType::EXTERNAL ? "1" : "0";
    return {
        AtCommand("+UGPIOC=22,0," + external),
        AtCommand("+CFUN=15", RF_TIMEOUT), // a reset of the module, which makes the switch take effect
    };
}

const ModemVariant::Commands& TobyModem::urc_cmds() const
{
    static const Commands COMMANDS{AtCommand("+CEREG=3")};
    return COMMANDS;
}

ActivationCode TobyModem::activate_pdp_context(Port port) const
{
    return activate_with(port, AtCommand("+CGACT=1," + std::to_string(context_id()), ACTIVATION_TIMEOUT),
                         false);
}

bool TobyModem::deactivate_pdp_context(Port port) const
{
    return deactivate_context(port);
}

ContextState TobyModem::is_pdp_context_active(Port port) const
{
    return query_context(port, "Unable to get PDP/EPS context status: '");
}

BackoffReport TobyModem::check_backoff_timer(Port, unsigned short, BackoffQuerySchedule&) const
{
    LOG.error("Mode not enable on Toby as the current firmware doesn't have it");
    return {};
}

ModemVariant::Commands TobyModem::context_setup_sequence(const std::string& apn, const std::string& user,
                                                         const std::string& password) const
{
    const ApnText text(apn);
    auto type = defs::ApnAuthenticationType::NONE;
    if (text.authentication) {
        type = *text.authentication;
    } else {
        LOG.notice("Unable to extract ApnAuthenticationType from APN ", apn,
                   " use default: ", defs::to_str(type));
        if ((!user.empty() || !password.empty()) && !std::exchange(told_of_unused_access_, true)) {
            LOG.warning("User and password are not used: the APN names no authentication (", text.name,
                        ":PAP or ", text.name, ":CHAP would)");
        }
    }
    const std::string cid = std::to_string(context_id());
    const std::string authentication =
        std::to_string(static_cast<int>(type)) + "," + quoted(user) + "," + quoted(password);
    return {
        AtCommand("+CGDCONT=" + cid + ",\"IP\"," + quoted(text.name)),
        AtCommand("+UCGDFLT=1,\"IP\"," + quoted(text.name) + "," + DEFAULT_BEARER_OPTIONS + authentication),
        AtCommand("+UAUTHREQ=" + cid + "," + authentication),
    };
}

/// The pool address begins with the router's ("192.168.234.1" and "192.168.234.100"): no digit may follow.
bool TobyModem::has_router_address(const std::string& answer) const
{
    const std::string address = ethernet_.prefix + ethernet_.router_host;
    for (std::size_t pos = answer.find(address); pos != std::string::npos;
         pos = answer.find(address, pos + 1)) {
        const std::size_t end = pos + address.size();
        if (end == answer.size() || std::isdigit(static_cast<unsigned char>(answer[end])) == 0) {
            return true;
        }
    }
    return false;
}

bool TobyModem::setup_eth_over_usb(Port port) const
{
    const auto answer = port->execute(AtCommand("+UIPCONF?"));
    if (!answer.is_ok()) {
        LOG.error("Unable to receive Ethernet over USB IP configuration");
        return false;
    }
    if (has_router_address(answer.unwrap().complete_message())) {
        return false;
    }
    // The firmware expects the trailing comma; kept.
    const AtCommand set("+UIPCONF=" + quoted(ethernet_.prefix + ethernet_.router_host) + "," +
                        quoted(ethernet_.netmask) + "," + quoted(ethernet_.prefix + ethernet_.pool_start) +
                        "," + quoted(ethernet_.prefix + ethernet_.pool_end) + ",");
    const auto done = port->execute(set);
    if (!done.is_ok()) {
        LOG.error("Unable to configure Ethernet over USB IP configuration with: ",
                  to_log_text(done.unwrapErr()));
        return false;
    }
    return true;
}

/// A second between polls; true as soon as the module is no longer alive.
bool TobyModem::poll_until_gone(const GpioCtrl& gpio, int polls) const
{
    for (int poll = 0; poll < polls; ++poll) {
        if (gpio.vint() != GpioCtrl::PinValue::LOW) {
            return true;
        }
        clock().sleep_for(VINT_PAUSE);
    }
    return false;
}

void TobyModem::power_off(std::shared_ptr<GpioCtrl> gpio, Port port) const
{
    ask_module_to_power_off(port);
    gpio->reset(GpioCtrl::PinValue::HIGH); // stays so until the next power-on
    poll_until_gone(*gpio, VINT_POLLS);
    if (gpio->vint() == GpioCtrl::PinValue::HIGH) {
        LOG.debug("Modem gone, remove VCC");
        gpio->vcc(GpioCtrl::PinValue::LOW);
        return;
    }
    LOG.warning("+CPWROFF didn't succeed in time, fallback to reset via GPIO");
    poll_until_gone(*gpio, VINT_POLLS_RESET);
    gpio->vcc(GpioCtrl::PinValue::LOW);
}
