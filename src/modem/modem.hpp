#pragma once

#include "at/at_tty_port.hpp"
#include "at/registration_lines.hpp"
#include "bus/publish.hpp"
#include "data/modem_data.hpp"
#include "gpio/gpio_ctrl.hpp"
#include "modem/backend_watch.hpp"
#include "modem/modem_settings.hpp"
#include "modem/pass_counter.hpp"
#include "modem/port_wait.hpp"
#include "modem/state_table.hpp"
#include "modem/urc_queue.hpp"
#include "sim/sim_handler.hpp"
#include "status/antenna_handler.hpp"
#include "status/status_handler.hpp"
#include "variant/modem_variant.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/kova/config/configuration.hpp>
#include <ecu/kova/var/variables_client.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

/// The state machine that takes the module from supply off to a supervised connection and back. Logs on
/// "celld.modem", "celld.modem.state" and "celld.modem.urc".
///
/// `init`, `run` and everything that talks to the module belong to one thread, the main thread. Other threads
/// reach it by `urc` (port thread: queues), `message` (bus thread: sets flags) and `stop` (signal handler:
/// sets flags).
class Modem : public IPortObserver, public ecu::kova::com::ISubscriptionObserver {
public:
    using State = ModemState;

    enum class RunAction : int { POWER_ON = 0, POWER_OFF = 1, INIT = 2, CONFIGURE = 3, CONNECT = 4, RUN = 5 };

    static constexpr std::uint32_t PORT_WAIT_PASSES =
        45; ///< about seconds until the module counts as not booting
    static constexpr std::uint32_t PDP_WAIT_PASSES = 120; ///< about seconds for a context to come up
    static constexpr std::uint32_t ACTIVATION_TRIES = 20;
    static constexpr unsigned short BACKOFF_QUERY_INTERVAL_S = 30;

    /// What a pass wants of the loop.
    struct Pass {
        bool leave = false;
        std::chrono::milliseconds rest{0};
    };

    Modem(std::unique_ptr<ecu::kova::config::Configuration> configuration, std::shared_ptr<AtTtyPort> port,
          Clock& clock = SystemClock::instance(),
          ecu::kova::com::TransportType transport = ecu::kova::com::TransportType::MQTT);
    Modem(const Modem&) = delete;
    Modem& operator=(const Modem&) = delete;
    ~Modem() override;

    void message(const std::string& topic, const ecu::kova::com::Message& message) override;
    void urc(const AtCommandResponse& response) override;

    /// Turns configuration, system parameters and ECU variables into settings and makes the helpers. Waits
    /// for the variables "hwvariant" and "modemtype" for ever. Returns early (logged) when the GPIOs cannot
    /// be set up: the modem then runs on with what it has.
    void init();

    /// Runs until `stop`, until the action's state is reached, or until the resets in a row are exhausted.
    void run(RunAction action);
    /// One pass of the loop, without its rest.
    Pass pass();
    /// Makes `run` power the module off and return, also when it comes before `run`. Async-signal-safe.
    void stop() noexcept;

    /// True when the state is `to` afterwards.
    bool change_state(State to);
    State state() const { return state_.load(); }
    static std::string state_to_str(State state) { return state_text(state); }

    // Power, reset and hardware-error reporting.
    void power_on();
    void power_off();
    void reboot();
    void restart_at_port();
    void prepare_reset(ecu::kova::pb::ModemStatus_ModemResetReason reason);
    void reset_if_be_timer_expired();
    /// True when it was published and the state is DTC_HW_ERROR.
    bool set_internal_hw_error_dtc();

    // Set-up and configuration. A query on which set-up cannot go on ends the process (the service manager
    // restarts it): its message goes to standard error.
    void setup();
    /// The error of a failed sequence carries the command's text as its message.
    Result configure();
    Result setup_context();
    ActivationCode activate_context();
    void check_sim();

    // Network search, registration and back-off.
    bool is_network_search_active() const;
    Result start_network_search();
    /// Waits `seconds` after a success, so that the module has deregistered before the caller goes on.
    Result stop_network_search(unsigned int seconds);
    void update_registration_status();
    State evaluate_registration_status() const;
    State evaluate_backoff_timer() const;
    State evaluate_radio_silence() const;

    enum class CommunicationStatus : int { HEALTHY = 0, LOST = 1, WRITE_ERRORS = 2, TIMEOUTS = 3 };
    CommunicationStatus get_communication_status();

    /// Works the queue off, then evaluates the registration once.
    bool process_urc_queue();

private:
    struct Steps;
    struct Search;

    // One method a state.
    Pass step_no_hardware();
    Pass step_off();
    Pass step_power_off();
    Pass step_power_on();
    Pass step_waiting_for_port();
    Pass step_uninitialized();
    Pass step_waiting_for_sim();
    Pass step_initialized();
    Pass step_configured();
    Pass step_reset();
    Pass step_registering();
    Pass step_registered();
    Pass step_activate_context();
    Pass step_connected();
    Pass step_disconnected();
    Pass step_searching();
    Pass step_port_lost();
    Pass step_backoff();
    Pass step_hw_error();

    // Around the step.
    void log_network_status();
    void keep_radio_silence();
    void retry_hw_error_report();
    void watch_port_health();
    void update_status(bool publish_now);
    bool stop_wanted() const { return stop_requested_.load() || !running_.load(); }
    void loop();
    void finish();

    // Parts of steps.
    void read_off_parameter();
    bool select_sim();
    void poll_sim_ready();
    Pass context_setup_failed(const AtError& error);
    Pass supervise(const Search& search);
    Pass await_registration(const Search& search);
    void restart_search();
    Pass activation_failed(ActivationCode code);
    Pass data_path_busy();
    Pass activation_unsuccessful();
    void enter_activate_context();
    void give_up_activation();
    void connected();
    void watch_backend();
    bool is_registered() const;
    Pass publish_and_rest(ecu::kova::pb::ModemStatus_ModemState state, std::chrono::milliseconds rest);

    // Parts of init.
    void read_sim_settings();
    void keep_one_sim_usable();
    void read_system_parameters();
    void read_hardware_variant();
    defs::SimState sim_state_from(const std::string& key) const;
    void apply_variant_property(const char* name, defs::SimState& state);
    std::string wait_for_variable(const char* name);
    std::string system_text(std::uint32_t id) const;
    bool init_gpio();
    void init_modem_presence();
    void init_antenna();
    AntennaHandler::Settings read_antenna_settings() const;
    AntennaLimits read_antenna_limits();

    // Parts of set-up.
    void identify_module();
    bool ensure_usb_profile();
    bool ensure_router_mode();
    bool ensure_sim_hot_swap();
    bool ensure_sim_detection_gpio();
    bool ensure_rat();
    Result run_sequence(const ModemVariant::Commands& commands);
    void take_up_changed_sim();
    void sim_errors_exhausted();

    // Parts of the power operations.
    void publish_state(ecu::kova::pb::ModemStatus_ModemState state);
    void switch_module_off();
    void forget_module();

    // URCs.
    void dispatch(const AtCommandResponse& response);
    void on_registration(registration::Domain domain, const AtCommandResponse& response);
    void on_ext_ps_registration(const AtCommandResponse& response);
    void on_network_friendly_mode(const AtCommandResponse& response);
    void on_indicator(const AtCommandResponse& response);
    void on_blackout_message(const ecu::kova::com::Message& message);
    void on_backend_message(const std::string& topic, const ecu::kova::com::Message& message);
    void query_registration(registration::Domain domain);

    bool off_by_parameter_or_refusal() const { return off_by_parameter_ || subscription_refused_; }

    std::unique_ptr<ecu::kova::config::Configuration> configuration_;
    std::shared_ptr<AtTtyPort> port_;
    Clock& clock_;
    ecu::kova::com::TransportType transport_;

    std::atomic<State> state_{State::OFF};
    RunAction action_ = RunAction::RUN;
    std::atomic<bool> running_{false};
    std::atomic<bool> stop_requested_{false};    // kept by `run`, so that a stop before it is not lost
    std::atomic<bool> blackout_{false};          // written by the bus thread
    std::atomic<bool> backend_connected_{false}; // written by the bus thread

    ModemData data_;
    ModemLimits limits_;
    std::string hardware_variant_;
    bool off_by_parameter_ = false;     // system parameter "ModemOnOff", read again while off
    bool subscription_refused_ = false; // until the process starts again

    UrcQueue urcs_;
    std::shared_ptr<ecu::kova::com::ITransportClient> bus_;
    std::shared_ptr<utils::SubscriptionWrapper> subscription_;
    std::shared_ptr<ecu::kova::var::VariablesClient> variables_;
    std::shared_ptr<ecu::kova::var::SystemParametersClient> system_parameters_;
    std::shared_ptr<GpioCtrl> gpio_;
    std::shared_ptr<ModemVariant> variant_;
    SimHandler sim_;
    std::unique_ptr<StatusHandler> status_;
    std::unique_ptr<AntennaHandler> antenna_;
    PortWait port_wait_;
    BackendWatch backend_watch_;

    // Counters of the loop; the limits that the configuration sets are filled in by init.
    PassCounter search_reattach_;
    PassCounter search_reset_;
    PassCounter port_wait_passes_;
    PassCounter pdp_wait_;
    PassCounter activation_;
    std::uint32_t busy_in_a_row_ = 0;
    std::uint32_t activation_giveups_ = 0; // since the last connection
    std::uint32_t context_failures_ = 0;   // in a row
    std::uint32_t port_failures_ = 0;      // how often the port never appeared, until it does
    std::uint32_t resets_ = 0;             // in a row, until connected
    std::uint32_t reconfigurations_ = 0;   // in a row, until connected
    std::uint32_t sim_resets_ = 0;         // caused by the SIM, until connected

    defs::SimType selected_sim_ = defs::SimType::NONE; // in this power-up of the module
    int rat_at_activation_ = defs::RAT_INVALID;
    std::optional<Clock::time_point> next_registration_update_;
    bool backoff_active_ = false;
    Clock::time_point backoff_until_{};
    BackoffQuerySchedule backoff_schedule_;
    bool sim_inserted_ = false;  // reported by the module, not yet acted on
    bool hw_error_owed_ = false; // its report could not be published yet
    bool hw_error_supply_off_ = false;
    bool hw_error_logged_ = false;
    std::string last_network_status_;
};
