#include "at/at_text.hpp"
#include "at/fields.hpp"
#include "modem/modem.hpp"
#include "utils/strings.hpp"
#include "variant/sara_modem.hpp"
#include "variant/toby_modem.hpp"

#include <ecu/kova/logging.hpp>

#include <cstdlib>
#include <iostream>

namespace {

namespace pb = ecu::kova::pb;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr std::uint32_t MAX_RECONFIGURATIONS =
    3;                                      // in a row; a module that forgets them would be reset for ever
constexpr std::size_t MIN_IMEI_LENGTH = 14; // 3GPP TS 23.003, 6.2: 14 digits and a check digit
constexpr std::size_t MAX_IDENTITY_LENGTH = 64; // model, manufacturer, IMEI; more is garbage

/// Set-up cannot go on and nothing the daemon could do would change that: at once, for the service manager to
/// restart.
[[noreturn]] void fatal(const char* text)
{
    std::cerr << text << std::endl;
    std::_Exit(EXIT_FAILURE);
}

void demand(const Result& result, const char* text)
{
    if (!result.is_ok()) {
        fatal(text);
    }
}

/// The answer's text without an echo of the command, fit for a message and a log line.
std::string identity_text(const AtCommandResponse& response, const std::string& command)
{
    std::string text = response.payload(command);
    utils::replace(text, "AT" + command, "");
    utils::trim(text);
    return utils::to_valid_utf8(text.substr(0, MAX_IDENTITY_LENGTH));
}

} // namespace

void Modem::setup()
{
    const auto started = port_->start();
    if (!started.is_ok()) {
        LOG.error("Unable to start the AT Cmd UART, will try resetting the modem!");
        LOG.notice("AT Cmd UART: ", started.unwrapErr());
        data_.pb_state(pb::ModemStatus_ModemState_FAILED);
        prepare_reset(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE);
        return;
    }
    static_cast<void>(port_->execute(AtCommand("E0"))); // a module that goes on echoing is understood too
    identify_module();

    bool changed = ensure_usb_profile();
    changed = ensure_router_mode() || changed;
    changed = ensure_sim_hot_swap() || changed;
    changed = ensure_sim_detection_gpio() || changed;
    changed = ensure_rat() || changed;
    changed = variant_->setup_eth_over_usb(port_) || changed;
    if (changed && ++reconfigurations_ > MAX_RECONFIGURATIONS) {
        LOG.warning("The module does not keep its settings, going on with what it has");
    } else if (changed) {
        LOG.notice("The module's persistent settings were changed, restart it");
        prepare_reset(pb::ModemStatus_ModemResetReason_AT_PORT_UNAVAILABLE);
        return;
    }
    demand(port_->execute(AtCommand("+CMEE=2")), "Unable to set 'report mobile termination' (+CMEE)");
    change_state(State::INITIALIZED);
}

void Modem::identify_module()
{
    const auto answer = port_->execute(AtCommand("+GMM"));
    demand(answer, "Unable to retrieve the Model Identifier (+GMM)");
    data_.module.model = identity_text(answer.unwrap(), "+GMM");
    if (data_.module.model.find("TOBY") != std::string::npos) {
        variant_ = std::make_shared<TobyModem>(clock_);
    } else {
        variant_ = std::make_shared<SaraModem>(clock_);
    }
    sim_.variant(variant_);

    const auto manufacturer = port_->execute(AtCommand("+GMI"));
    if (manufacturer.is_ok()) {
        data_.module.manu = identity_text(manufacturer.unwrap(), "+GMI");
    }
    const auto imei = port_->execute(AtCommand("+CGSN"));
    if (imei.is_ok()) {
        data_.module.imei = at::last_number(imei.unwrap().complete_message(), MIN_IMEI_LENGTH);
    }
    LOG.notice("Module: '", data_.module.manu, "' '", data_.module.model, "' IMEI '", data_.module.imei, "'");
}

// +UUSBCONF: <profile>,...; the new profile takes effect with the restart
bool Modem::ensure_usb_profile()
{
    int profile = -1;
    const int wanted = variant_->usb_profile();
    demand(port_->execute(AtCommand("+UUSBCONF?"), "%d", &profile), "Unable to query usb conf (+UUSBCONF)");
    if (profile == wanted) {
        return false;
    }
    LOG.notice("USB profile is ", profile, ", set ", wanted);
    demand(port_->execute(AtCommand("+UUSBCONF=" + std::to_string(wanted))),
           "Unable to set usb conf for modem (+UUSBCONF)");
    return true;
}

// +UBMCONF: <networking_mode>
bool Modem::ensure_router_mode()
{
    if (!variant_->needs_router_mode_check()) {
        return false;
    }
    int mode = -1;
    const int wanted = variant_->router_mode() ? 1 : 0;
    demand(port_->execute(AtCommand("+UBMCONF?"), "%d", &mode),
           "Unable to query ubm conf for TOBY modem (+UBMCONF)");
    if (mode == wanted) {
        return false;
    }
    LOG.notice("Toby modem requires reconfiguration to 'router mode'");
    demand(port_->execute(AtCommand("+UBMCONF=" + std::to_string(wanted))), "Unable to set +UBMCONF");
    return true;
}

// +UDCONF: 50,<hot swap>
bool Modem::ensure_sim_hot_swap()
{
    int hot_swap = -1;
    demand(port_->execute(AtCommand("+UDCONF=50"), "%*d,%d", &hot_swap),
           "Unable to query sim hotswap status (+UDCONF=50)");
    if (hot_swap != 0) {
        return false;
    }
    LOG.notice("Switch SIM hot-swap detection on");
    demand(port_->execute(AtCommand("+UDCONF=50,1")), "Unable to query config from modem (+UDCONF=50,1)");
    return true;
}

// +UGPIOC: a line "<gpio_id>,<function>" for every pin
bool Modem::ensure_sim_detection_gpio()
{
    const std::string wanted = std::to_string(variant_->sim_detection_gpio()) + ",1";
    const auto answer = port_->execute(AtCommand("+UGPIOC?"));
    demand(answer, "Unable to get modem GPIO configuration.");
    if (answer.unwrap().complete_message().find(wanted) != std::string::npos) {
        return false;
    }
    LOG.notice("Modem GPIO is not configured for SIM detection, will do it now!");
    demand(port_->execute(AtCommand("+UGPIOC=" + wanted)),
           "Unable to configure SIM detection GPIO (+UGPIOC)");
    return true;
}

// +URAT: <selected>,<preferred>[,<second preferred>]
bool Modem::ensure_rat()
{
    int selected = -1;
    int preferred = -1;
    const auto answer = port_->execute(AtCommand("+URAT?"), "%d,%d,%*d", &selected, &preferred);
    if (answer.is_ok() && selected == variant_->selected_rat() && preferred == variant_->preferred_rat()) {
        return false;
    }
    LOG.notice("Radio access technology is ", selected, ",", preferred, ", set ", variant_->selected_rat(),
               ",", variant_->preferred_rat());
    const std::string pair =
        std::to_string(variant_->selected_rat()) + "," + std::to_string(variant_->preferred_rat());
    // Their results tell nothing: the next set-up asks again.
    static_cast<void>(port_->execute(variant_->disable_rf()));
    static_cast<void>(port_->execute(AtCommand("+URAT=" + pair)));
    static_cast<void>(port_->execute(variant_->enable_rf()));
    return true;
}
