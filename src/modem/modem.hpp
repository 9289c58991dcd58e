#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "modem/bus_inbox.hpp"
#include "modem/orders.hpp"
#include "modem/phase.hpp"
#include "modem/port_health.hpp"
#include "modem/run_action.hpp"
#include "modem/state_machine.hpp"
#include "modem/urc_queue.hpp"
#include "timer/wakeable_clock.hpp"
#include "variant/modem_variant.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/kova/config/configuration.hpp>

#include <functional>
#include <memory>
#include <string>

/// The state machine that takes the module from supply off to a supervised connection and back. Conducts: it
/// knows the order of a pass, and hands every operation on to the room that does it (see
/// docs/architecture.md). Logs on "celld.modem", "celld.modem.state" and "celld.modem.urc".
///
/// `init`, `run` and everything that talks to the module belong to one thread, the main thread. Other threads
/// reach it by `urc` (port thread: queues), `message` (bus thread: gives orders) and `stop` (signal handler:
/// likewise).
class Modem : public IPortObserver, public ecu::kova::com::ISubscriptionObserver {
public:
    using State = ModemState;
    using RunAction = ::RunAction;
    using CommunicationStatus = PortHealth::Status;

    Modem(std::unique_ptr<ecu::kova::config::Configuration> configuration, std::shared_ptr<AtTtyPort> port,
          Clock& clock = SystemClock::instance(),
          ecu::kova::com::TransportType transport = ecu::kova::com::TransportType::MQTT);
    Modem(const Modem&) = delete;
    Modem& operator=(const Modem&) = delete;
    ~Modem() override;

    void message(const std::string& topic, const ecu::kova::com::Message& message) override;
    void urc(const AtCommandResponse& response) override;

    /// Turns configuration, system parameters and ECU variables into settings and makes the rooms; once,
    /// before anything below. Waits for the variables "hwvariant" and "modemtype" for ever, unless a stop
    /// comes or `stop_seen` says that one came before `stop` could be called: the module is then not switched
    /// on. A board whose GPIOs cannot be set up is logged, and the modem runs on with what it has.
    void init(const std::function<bool()>& stop_seen = {});

    /// Before `run`. Is called as each pass begins, and before the power-off that ends a run; on the main
    /// thread.
    void each_pass(std::function<void()> told) { pass_begins_ = std::move(told); }

    /// Runs until `stop`, until the action's state is reached, or until the resets in a row are exhausted.
    void run(RunAction action);
    /// One pass of the loop, without its rest.
    Pass pass();
    /// The rest between two passes, which an order ends.
    void rest(const Pass& wanted);
    /// Makes `run` power the module off and return, also when it comes before `run`. Async-signal-safe.
    void stop() noexcept;

    /// True when the state is `to` afterwards.
    bool change_state(State to) { return machine_.change(to, ASKED_FOR); }
    State state() const { return machine_.state(); }
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

    // Set-up and configuration.
    void setup();
    Result configure();
    Result setup_context();
    ActivationCode activate_context();
    void check_sim();

    // Network search, registration and back-off. What is evaluated sends nothing.
    bool is_network_search_active();
    Result start_network_search();
    Result stop_network_search(unsigned int seconds);
    void update_registration_status();
    State evaluate_registration_status(bool search_active) const;
    State evaluate_backoff_timer() const;
    State evaluate_radio_silence() const;

    CommunicationStatus get_communication_status();
    bool process_urc_queue();

private:
    static constexpr const char* ASKED_FOR = "asked for";

    struct Rooms;

    void loop();
    void tell_pass() const;
    void finish();
    void keep_radio_silence();
    void log_network_status();

    std::unique_ptr<ecu::kova::config::Configuration> configuration_;
    std::shared_ptr<AtTtyPort> port_;
    Clock& clock_;
    const ecu::kova::com::TransportType transport_;
    RunAction action_ = RunAction::RUN;
    std::function<void()> pass_begins_;

    ModemData data_;
    StateMachine machine_{data_, clock_};
    Orders orders_{*port_};
    WakeableClock pauses_;
    BusInbox bus_inbox_{orders_, clock_};
    UrcQueue urcs_;
    std::unique_ptr<Rooms> rooms_; // from `init` on
    std::string last_network_status_;
};
