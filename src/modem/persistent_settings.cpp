#include "modem/persistent_settings.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

} // namespace

bool demand(const AtTtyPort& port, const Result& result, const char* text)
{
    if (result.is_ok()) {
        return true;
    }
    if (!result.unwrapErr().is_interruption() && !port.is_interrupted()) {
        throw SetUpImpossible(text);
    }
    return false;
}

std::optional<PersistentSettings::Change> PersistentSettings::ensure()
{
    Change change;
    const auto note = [&change](bool changed, const char* name, bool carries_data_path) {
        if (changed) {
            change.names += (change.names.empty() ? "" : ", ") + std::string(name);
            change.carries_data_path = change.carries_data_path || carries_data_path;
        }
    };
    note(ensure_usb_profile(), "USB profile", true);
    note(ensure_router_mode(), "router mode", true);
    note(ensure_sim_hot_swap(), "SIM hot-swap", false);
    note(ensure_sim_detection_gpio(), "SIM detection pin", false);
    note(ensure_rat(), "radio access technology", false);
    note(variant_.setup_eth_over_usb(port_), "Ethernet over USB", true);
    const bool unchanged = change.names.empty() || port_->is_interrupted(); // the latter: it is done anew
    return unchanged ? std::nullopt : std::optional(change);
}

// +UUSBCONF: <profile>,...; the new profile takes effect with the restart
bool PersistentSettings::ensure_usb_profile()
{
    int profile = -1;
    const int wanted = variant_.usb_profile();
    if (!demand(*port_, port_->execute(AtCommand("+UUSBCONF?"), "%d", &profile),
                "Unable to query usb conf (+UUSBCONF)") ||
        profile == wanted) {
        return false;
    }
    LOG.notice("USB profile is ", profile, ", set ", wanted);
    return demand(*port_, port_->execute(AtCommand("+UUSBCONF=" + std::to_string(wanted))),
                  "Unable to set usb conf for modem (+UUSBCONF)");
}

// +UBMCONF: <networking_mode>
bool PersistentSettings::ensure_router_mode()
{
    if (!variant_.needs_router_mode_check()) {
        return false;
    }
    int mode = -1;
    const int wanted = variant_.router_mode() ? 1 : 0;
    if (!demand(*port_, port_->execute(AtCommand("+UBMCONF?"), "%d", &mode),
                "Unable to query ubm conf for TOBY modem (+UBMCONF)") ||
        mode == wanted) {
        return false;
    }
    LOG.notice("Toby modem requires reconfiguration to 'router mode'");
    return demand(*port_, port_->execute(AtCommand("+UBMCONF=" + std::to_string(wanted))),
                  "Unable to set +UBMCONF");
}

// +UDCONF: 50,<hot swap>
bool PersistentSettings::ensure_sim_hot_swap()
{
    int hot_swap = -1;
    if (!demand(*port_, port_->execute(AtCommand("+UDCONF=50"), "%*d,%d", &hot_swap),
                "Unable to query sim hotswap status (+UDCONF=50)") ||
        hot_swap != 0) {
        return false;
    }
    LOG.notice("Switch SIM hot-swap detection on");
    return demand(*port_, port_->execute(AtCommand("+UDCONF=50,1")),
                  "Unable to query config from modem (+UDCONF=50,1)");
}

// +UGPIOC: a line "<gpio_id>,<function>" for every pin
bool PersistentSettings::ensure_sim_detection_gpio()
{
    const std::string wanted = std::to_string(variant_.sim_detection_gpio()) + ",1";
    const auto answer = port_->execute(AtCommand("+UGPIOC?"));
    if (!demand(*port_, answer, "Unable to get modem GPIO configuration.") ||
        answer.unwrap().complete_message().find(wanted) != std::string::npos) {
        return false;
    }
    LOG.notice("Modem GPIO is not configured for SIM detection, will do it now!");
    return demand(*port_, port_->execute(AtCommand("+UGPIOC=" + wanted)),
                  "Unable to configure SIM detection GPIO (+UGPIOC)");
}

// +URAT: <selected>,<preferred>[,<second preferred>]
bool PersistentSettings::ensure_rat()
{
    int selected = -1;
    int preferred = -1;
    const auto answer = port_->execute(AtCommand("+URAT?"), "%d,%d,%*d", &selected, &preferred);
    const bool wanted =
        answer.is_ok() && selected == variant_.selected_rat() && preferred == variant_.preferred_rat();
    if (wanted || port_->is_interrupted()) {
        return false;
    }
    LOG.notice("Radio access technology ",
               answer.is_ok() ? "is " + std::to_string(selected) + "," + std::to_string(preferred)
                              : "cannot be read (" + to_log_text(answer.unwrapErr()) + ")",
               ", set ", variant_.selected_rat(), ",", variant_.preferred_rat());
    const std::string pair =
        std::to_string(variant_.selected_rat()) + "," + std::to_string(variant_.preferred_rat());
    // Their results tell nothing: the next set-up asks again.
    static_cast<void>(port_->execute(variant_.disable_rf()));
    static_cast<void>(port_->execute(AtCommand("+URAT=" + pair)));
    static_cast<void>(port_->execute(variant_.enable_rf()));
    return true;
}
