#pragma once

#include "at/at_interpreter.hpp"
#include "module/family.hpp"
#include "module/nvm.hpp"
#include "module/session.hpp"
#include "radio/flapping.hpp"
#include "radio/network.hpp"
#include "radio/sim_slots.hpp"
#include "record/transcript.hpp"

#include <chrono>
#include <string>
#include <string_view>

namespace bench {

/// What the module's firmware asks of the hardware around it.
class ModuleHost {
public:
    virtual ~ModuleHost() = default;
    virtual void transmit(std::string_view bytes) = 0;
    virtual void restart_module() = 0;    ///< +CFUN=15 or 16 has run its course
    virtual void switch_module_off() = 0; ///< +CPWROFF has run its course
    virtual void crash_module(const Crash& crash) = 0;
    virtual std::string port_state() const = 0; ///< "open", "closed" or "gone"
    virtual void log(char direction, const std::string& text) = 0;
};

/// How the module on the bench is made.
struct ModuleSetup {
    Family family = Family::SARA;
    std::chrono::milliseconds command_delay{20};
    std::chrono::milliseconds sim_delay{1000};
    std::chrono::milliseconds registration_delay{3000};
    std::string internal_pin;
    std::string external_pin = "5193";
    bool internal_present = true;
    bool external_present = true;
};

/// The firmware: AT interpreter, settings, SIM cards and radio. What a restart wipes out is in the session.
/// All calls come on the event loop's thread.
class Module {
public:
    Module(const ModuleSetup& setup, TimerQueue& timers, Nvm& nvm, Transcript& transcript, ModuleHost& host);
    ~Module() { timers_.cancel(ending_timer_); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    void power_up();
    void power_down();
    bool powered() const { return powered_; }

    void receive(std::string_view bytes);
    void urc(const std::string& line);

    // For the command handlers and the control commands.
    Family family() const { return family_; }
    Nvm& nvm() { return nvm_; }
    Session& session() { return session_; }
    SimSlots& sims() { return sims_; }
    Network& network() { return network_; }
    Flapping& flapping() { return flapping_; }
    AtInterpreter& interpreter() { return interpreter_; }
    TimerQueue& timers() { return timers_; }
    ModuleHost& host() { return host_; }

    /// The module's GPIO pin that switches between the cards, and the one that senses the holder.
    int sim_switch_pin() const { return family_ == Family::SARA ? 23 : 22; }
    int sim_detect_pin() const { return family_ == Family::SARA ? 42 : 60; }

    /// Card that the switch pin selects in the non-volatile settings.
    Slot switched_slot() const;

    /// Radio, operator selection or SIM changed: may the module register?
    void update_radio();

    /// After the OK of +CPWROFF, of +CFUN=15 and 16.
    void begin_switch_off();
    void begin_restart();

    /// The network or a test takes every context away.
    void drop_contexts();

    /// Reports signal quality and roaming if they changed.
    void report_signal();

    /// A card went into or out of the holder.
    void insert_card(Slot slot, bool present);

private:
    AtInterpreter::Hooks hooks();
    AtAnswer execute(const AtRequest& request);
    void record_pin_attempts(const std::string& line);
    void report_attachment();
    void report_packet_state();
    void end_after(std::chrono::milliseconds pause, void (ModuleHost::*end)());

    Family family_;
    TimerQueue& timers_;
    Nvm& nvm_;
    Transcript& transcript_;
    ModuleHost& host_;
    Session session_;
    SimSlots sims_;
    Network network_;
    Flapping flapping_;
    AtInterpreter interpreter_;
    TimerQueue::Id ending_timer_ = 0; ///< of a switch-off or restart that was answered
    bool powered_ = false;
};

} // namespace bench
