#pragma once

#include "variant/modem_variant.hpp"

/// The TOBY family: LTE, data path over the module's USB Ethernet in router mode. Logs on
/// "celld.variant.toby".
class TobyModem final : public ModemVariant {
public:
    /// Addressing of the USB Ethernet. Pool start and end are the same: the module leases exactly one
    /// address, to the control unit.
    struct EthernetSettings {
        std::string prefix = "192.168.234.";
        std::string router_host = "1";
        std::string netmask = "255.255.255.0";
        std::string pool_start = "100";
        std::string pool_end = "100";
    };

    explicit TobyModem(Clock& clock = SystemClock::instance());
    explicit TobyModem(EthernetSettings ethernet, Clock& clock = SystemClock::instance());

    int usb_profile() const override { return 2; }
    bool has_sim_detection_pin() const override { return false; }
    int sim_detection_gpio() const override { return 60; }
    Commands sim_selection_sequence(defs::SimType type) const override;
    int supports_lte() const override { return 1; }
    const Commands& urc_cmds() const override;
    int selected_rat() const override { return 4; }  // GSM/UMTS/LTE
    int preferred_rat() const override { return 3; } // LTE
    ActivationCode activate_pdp_context(Port port) const override;
    bool deactivate_pdp_context(Port port) const override;
    ContextState is_pdp_context_active(Port port) const override;
    BackoffReport check_backoff_timer(Port port, unsigned short interval_s,
                                      BackoffQuerySchedule& schedule) const override;
    Commands context_setup_sequence(const std::string& apn, const std::string& user,
                                    const std::string& password) const override;
    bool needs_router_mode_check() const override { return true; }
    bool router_mode() const override { return true; }
    bool setup_eth_over_usb(Port port) const override;
    void power_off(std::shared_ptr<GpioCtrl> gpio, Port port) const override;
    bool sim_selection_restarts_module() const override { return true; } // "+CFUN=15"

private:
    bool has_router_address(const std::string& answer) const;
    bool poll_until_gone(const GpioCtrl& gpio, int polls) const;

    EthernetSettings ethernet_;
    mutable bool told_of_unused_access_ = false; // main thread; said once
};
