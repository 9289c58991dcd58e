#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "gpio/gpio_ctrl.hpp"
#include "timer/clock.hpp"
#include "variant/modem_variant.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <array>
#include <memory>
#include <optional>
#include <string>

/// Decides which of the two SIMs the module uses, switches it over, and brings the selected card to READY,
/// entering the configured PIN when the card asks for one. Logs on "celld.sim". Main thread only: blocks for
/// the time-outs of its commands and the pauses a switch needs. Nothing throws.
class SimHandler {
public:
    /// Level of the board's SIM-lock input that means the external SIM.
    enum class ActiveValue : int { LOW = 0, HIGH = 1 };

    SimHandler(std::shared_ptr<AtTtyPort> port, ModemData* data, Clock& clock = SystemClock::instance());

    void bus(std::shared_ptr<ecu::kova::com::ITransportClient> client) { bus_ = std::move(client); }
    /// Known once the module has named its family.
    void variant(std::shared_ptr<ModemVariant> variant) { variant_ = std::move(variant); }
    void lock_active_on(ActiveValue value);

    bool is_disabled(defs::SimType type) const;
    /// What the board's SIM-lock input asks for. `gpio` must be there.
    defs::SimType type_from_gpio(const std::shared_ptr<GpioCtrl>& gpio) const;
    bool is_external_simcard_present() const;

    /// Switches the module to that SIM. When that fails nothing is selected any more and an error is counted,
    /// so that the next `handle_sim_change` tries again.
    bool sim_selection(defs::SimType type);
    /// Follows the SIM-lock input, disabled SIMs and an empty holder considered. True when a SIM was
    /// switched.
    bool handle_sim_change(const std::shared_ptr<GpioCtrl>& gpio);
    /// For a module that was just powered up and has forgotten its switch: chooses as `handle_sim_change` and
    /// selects in any case.
    bool select_after_power_up(const std::shared_ptr<GpioCtrl>& gpio);

    /// Brings the selected SIM to READY; true when it is. Sends nothing when it is already. Never enters a
    /// PIN when that could lock the card: with one or no attempt left, with an unknown number of attempts,
    /// without a PIN, or again when the card has refused it as wrong.
    bool unlock_pin();
    /// The same.
    bool sim_ready() { return unlock_pin(); }
    void sim_detection(defs::SimDetection detection);
    /// What is still owed: to the bus whether the card is locked, when it did not take it; and who a ready
    /// card is, asked every 20 seconds until it has answered.
    void catch_up();

    /// The holder is empty: the next card wants its PIN, and what was known of this one is gone (logged).
    void card_removed();
    /// The module may have restarted: the card wants its PIN again.
    void forget_ready() { sim_ready_ = false; }

    bool is_ready() const { return sim_ready_; }
    defs::SimType current_type() const { return current_type_; }
    int error_counter() const { return error_counter_; }
    void clear_errors() { error_counter_ = 0; }
    /// How often in a row "+CPIN?" got no answer at all, which is no error of the card.
    int unanswered() const { return unanswered_; }

private:
    enum class PinState { READY, PIN, PUK, OTHER_CODE, UNREADABLE };
    enum class PinEntry { ALLOWED, LOCKED, FAILED };

    defs::SimType choose(const std::shared_ptr<GpioCtrl>& gpio);
    defs::SimType replace_disabled(defs::SimType detected);
    bool switch_to(defs::SimType chosen);
    bool restarted_instead(const AtError& error) const;
    bool run_selection(defs::SimType type);
    void set_current(defs::SimType type);

    bool query_and_unlock();
    void handle_cpin_failure(const AtError& error);
    bool handle_pin_request();
    PinEntry ask_pin_attempts();
    bool& pin_refused();
    std::optional<bool> read_detection_pin() const;
    void enter_pin();
    void set_locked();
    void log_once(const std::string& text);
    void set_ready();
    void read_identity();
    void query_identity();
    void publish_lock(bool locked);

    static PinState pin_state(const std::string& answer);

    std::shared_ptr<AtTtyPort> port_;
    std::shared_ptr<ecu::kova::com::ITransportClient> bus_;
    defs::SimType current_type_ = defs::SimType::NONE;
    bool sim_ready_ = false;
    ActiveValue lock_active_on_ = ActiveValue::LOW;
    ModemData* data_;
    std::shared_ptr<ModemVariant> variant_;
    /// An external selection fell back to the internal SIM for want of a card.
    bool forced_internal_ = false;
    int error_counter_ = 0;
    int unanswered_ = 0;                // since an answer, or a selection
    std::array<bool, 2> pin_refused_{}; // as wrong, by the card in each holder; by SIM type
    Clock& clock_;
    std::string last_disabled_text_; // a lasting condition is logged once
    std::string last_lock_text_;     // likewise
    Clock::time_point identity_asked_;
    std::optional<bool> lock_owed_; // to the bus
};
