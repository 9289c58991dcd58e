#pragma once

#include "bus/publish.hpp"
#include "modem/attach_phase.hpp"
#include "modem/barred_phase.hpp"
#include "modem/boot_phase.hpp"
#include "modem/card_phase.hpp"
#include "modem/data_context.hpp"
#include "modem/hardware_error.hpp"
#include "modem/idle_phase.hpp"
#include "modem/journal.hpp"
#include "modem/link_phase.hpp"
#include "modem/modem.hpp"
#include "modem/module_setup.hpp"
#include "modem/network_vigil.hpp"
#include "modem/recovery_phase.hpp"
#include "modem/search_phase.hpp"
#include "modem/set_up_phase.hpp"
#include "modem/sim_switch.hpp"
#include "modem/stoppable_variables.hpp"
#include "modem/urc_inbox.hpp"

#include <ecu/kova/var/variables_client.hpp>

/// What `Modem::init` makes, in order, each with what it may touch; torn down in reverse. The wiring and
/// nothing else.
struct Modem::Rooms {
    Rooms(Modem& modem, const std::function<bool()>& stop_seen);
    ~Rooms();
    Rooms(const Rooms&) = delete;
    Rooms& operator=(const Rooms&) = delete;

    /// Everything that does not depend on the settings, then the settings, then the rest.
    struct Ground {
        Ground(Modem& modem, const std::function<bool()>& stop_seen);
        UnitSettings read(Modem& modem);

        std::shared_ptr<ecu::kova::com::ITransportClient> bus;
        std::shared_ptr<utils::SubscriptionWrapper> subscription;
        std::shared_ptr<ecu::kova::var::SystemParametersClient> parameters;
        std::shared_ptr<StoppableVariables> variables;
        std::shared_ptr<GpioCtrl> gpio;
        std::shared_ptr<ModemVariant> variant; // known from the first set-up on
        StatusHandler status;
        const UnitSettings settings;
    } ground;

    Journal journal;

    // What is counted and asked.
    Escalation escalation;
    Backoff& backoff;
    SimHandler sim;
    AntennaHandler antenna;
    NetworkSearch search;
    RegistrationWatch registration;
    DataContext context;

    // What is done.
    Resets resets;
    HardwareError hardware_error;
    ModulePower power;
    ModuleSetup setup;
    SimSwitch sim_switch;
    UrcInbox inbox;
    PortHealth port_health;
    NetworkVigil vigil;

    // The phases.
    IdlePhase idle;
    BootPhase boot;
    SetUpPhase set_up;
    CardPhase card;
    SearchPhase searching;
    AttachPhase attach;
    LinkPhase link;
    BarredPhase barred;
    RecoveryPhase recovery;
    StateMachine& machine;
};
