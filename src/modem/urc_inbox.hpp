#pragma once

#include "at/registration_lines.hpp"
#include "data/modem_data.hpp"
#include "modem/registration_watch.hpp"
#include "modem/state_machine.hpp"
#include "modem/urc_queue.hpp"
#include "sim/sim_handler.hpp"
#include "timer/clock.hpp"
#include "utils/recurring_record.hpp"

/// Works the queue of unsolicited reports off: their values go into the record, then the state follows. Main
/// thread only. Logs on "celld.modem.urc".
class UrcInbox {
public:
    UrcInbox(UrcQueue& queue, ModemData& data, SimHandler& sim, RegistrationWatch& registration,
             StateMachine& machine, Clock& clock);

    /// Every report that has come so far, then one evaluation. What comes meanwhile is the next pass's. True
    /// when the state is the one that the registration asks for.
    bool process();
    /// How many unreadable reports a minute has seen.
    void tell_counts() { unreadable_.tell_count(); }

private:
    void dispatch(const AtCommandResponse& response);
    void on_registration(registration::Domain domain, const AtCommandResponse& response);
    void on_ext_ps_registration(const AtCommandResponse& response);
    void on_network_friendly_mode(const AtCommandResponse& response);
    void on_sim_inserted();
    void on_sim_detection(defs::SimDetection detection);
    void on_indicator(const AtCommandResponse& response);

    UrcQueue& queue_;
    ModemData& data_;
    SimHandler& sim_;
    RegistrationWatch& registration_;
    StateMachine& machine_;
    Clock& clock_;
    RecurringRecord unreadable_;
    bool sim_inserted_ = false; // reported by the module, not yet acted on
};
