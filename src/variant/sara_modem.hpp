#pragma once

#include "variant/modem_variant.hpp"

/// The SARA family: GSM and UMTS, data path over CDC-ECM. Logs on "celld.variant.sara".
class SaraModem final : public ModemVariant {
public:
    explicit SaraModem(Clock& clock = SystemClock::instance());

    int usb_profile() const override { return 2; }
    bool has_sim_detection_pin() const override { return true; }
    int sim_detection_gpio() const override { return 42; }
    Commands sim_selection_sequence(defs::SimType type) const override;
    int supports_lte() const override { return 0; }
    const Commands& urc_cmds() const override;
    int selected_rat() const override { return 1; }  // GSM/UMTS dual mode
    int preferred_rat() const override { return 2; } // UMTS
    ActivationCode activate_pdp_context(Port port) const override;
    bool deactivate_pdp_context(Port port) const override;
    ContextState is_pdp_context_active(Port port) const override;
    BackoffReport check_backoff_timer(Port port, unsigned short interval_s,
                                      BackoffQuerySchedule& schedule) const override;
    /// An authentication type behind the APN's colon is dropped: the family sends PAP whenever there is a
    /// user.
    Commands context_setup_sequence(const std::string& apn, const std::string& user,
                                    const std::string& password) const override;
    bool setup_eth_over_usb(Port) const override { return false; }
    void power_off(std::shared_ptr<GpioCtrl> gpio, Port port) const override;
};
