#include "module/module.hpp"

#include "module/command_table.hpp"
#include "module/reports.hpp"

#include <algorithm>
#include <utility>

namespace bench {
namespace {

constexpr std::chrono::milliseconds SWITCH_OFF_TIME{1000}; ///< from the OK of +CPWROFF to the end of V_INT
constexpr std::chrono::milliseconds RESTART_TIME{300};     ///< lets the OK of +CFUN=15 reach its reader

SimCard internal_card(const ModuleSetup& setup)
{
    SimCard card({.iccid = "8949010010000000017", .imsi = "001010000000001", .pin = setup.internal_pin});
    card.present = setup.internal_present;
    return card;
}

SimCard external_card(const ModuleSetup& setup)
{
    SimCard card({.iccid = "8949010010000000025", .imsi = "001010000000002", .pin = setup.external_pin});
    card.present = setup.external_present;
    return card;
}

Surroundings surroundings_for(Family family)
{
    Surroundings surroundings;
    surroundings.act = family == Family::TOBY ? ACT_EUTRAN : ACT_UTRAN;
    return surroundings;
}

} // namespace

Module::Module(const ModuleSetup& setup, TimerQueue& timers, Nvm& nvm, Transcript& transcript,
               ModuleHost& host)
    : family_(setup.family), timers_(timers), nvm_(nvm), transcript_(transcript), host_(host),
      sims_(timers, setup.sim_delay, internal_card(setup), external_card(setup)),
      network_(timers, setup.registration_delay, surroundings_for(setup.family)), flapping_(timers, network_),
      interpreter_(timers, setup.command_delay, transcript, hooks())
{
    sims_.on_change([this] { update_radio(); });
    network_.observe({.registration =
                          [this](Network::Domain domain) {
                              const int n = session_.number(registration_command(domain), 0);
                              if (n > 0) {
                                  urc(registration_line(network_, domain, n, false));
                              }
                          },
                      .settled =
                          [this] {
                              report_packet_state();
                              report_attachment();
                              report_signal();
                          }});
}

AtInterpreter::Hooks Module::hooks()
{
    return {.execute = [this](const AtRequest& request) { return execute(request); },
            .slowness = [](const AtRequest& request) { return command_slowness(request); },
            .cmee = [this] { return session_.cmee; },
            .send = [this](std::string_view bytes) { host_.transmit(bytes); },
            .log = [this](char direction, const std::string& text) { host_.log(direction, text); },
            .received = [this](const std::string& line) { record_pin_attempts(line); },
            .crash = [this](const Crash& crash) { host_.crash_module(crash); },
            .port = [this] { return host_.port_state(); }};
}

/// In front of the command that may cost one.
void Module::record_pin_attempts(const std::string& line)
{
    const auto requests = parse_command_line(line);
    const bool entry = std::any_of(requests.begin(), requests.end(), [](const AtRequest& request) {
        return request.name == "+CPIN" && request.form == Form::SET;
    });
    if (entry && sims_.current().present && sims_.current().lock() == SimCard::Lock::PIN) {
        transcript_.note("pin", {std::to_string(sims_.current().pin_attempts())});
    }
}

void Module::power_up()
{
    session_ = {};
    session_.in_force = nvm_.values();
    interpreter_.reset();
    network_.power_down();
    powered_ = true;
    sims_.select(switched_slot());
}

void Module::power_down()
{
    timers_.cancel(ending_timer_);
    powered_ = false;
    interpreter_.reset();
    network_.power_down();
    sims_.power_down();
}

void Module::receive(std::string_view bytes)
{
    if (powered_) {
        interpreter_.receive(bytes);
    }
}

void Module::urc(const std::string& line)
{
    if (powered_) {
        interpreter_.urc(line);
    }
}

Slot Module::switched_slot() const
{
    const auto& setting = nvm_.get(Nvm::gpio_key(sim_switch_pin()));
    return setting == "0,1" ? Slot::EXTERNAL : Slot::INTERNAL;
}

void Module::update_radio()
{
    network_.enable(powered_ && session_.cfun == 1 && session_.cops_mode == 0 && sims_.ready());
}

void Module::begin_switch_off()
{
    session_.cfun = 0;
    update_radio();
    end_after(SWITCH_OFF_TIME, &ModuleHost::switch_module_off);
}

void Module::begin_restart()
{
    end_after(RESTART_TIME, &ModuleHost::restart_module);
}

void Module::end_after(std::chrono::milliseconds pause, void (ModuleHost::*end)())
{
    timers_.cancel(ending_timer_);
    ending_timer_ = timers_.after(pause, [this, end] { (host_.*end)(); });
}

void Module::report_attachment()
{
    const bool attached = network_.attached();
    if (std::exchange(session_.attached, attached) == attached) {
        return;
    }
    const bool lte = network_.surroundings().act == ACT_EUTRAN;
    if (!attached) {
        drop_contexts();
    } else if (lte && !network_.surroundings().contexts_refused) {
        auto& bearer = session_.contexts[1]; // the initial default bearer comes with the attach
        bearer.active = true;
        bearer.apn = bearer.apn.empty() ? session_.default_apn : bearer.apn;
        if (session_.number("+CGEREP", 0) != 0) {
            urc("+CGEV: ME PDN ACT 1");
        }
    }
    session_.time_known = session_.time_known || attached;
}

void Module::report_packet_state()
{
    const int state = packet_state(network_);
    if (std::exchange(session_.packet_state, state) != state && session_.number("+UREG", 0) != 0) {
        urc("+UREG: " + std::to_string(state));
    }
}

void Module::drop_contexts()
{
    for (auto& [cid, context] : session_.contexts) {
        if (context.active && session_.number("+CGEREP", 0) != 0) {
            const bool lte =
                network_.surroundings().act == ACT_EUTRAN; // 3GPP TS 27.007, 10.1.19, names them apart
            urc(lte ? "+CGEV: NW PDN DEACT " + std::to_string(cid)
                    : "+CGEV: NW DEACT \"" + context.type + "\",\"10.64.0.17\"," + std::to_string(cid));
        }
        context.active = false;
    }
}

void Module::report_signal()
{
    const auto report = [this](Indicator indicator, int value) {
        if (const auto line = indicator_line(session_, indicator, value)) {
            urc(*line);
        }
    };
    const int quality = network_.registered() ? signal_quality(network_.surroundings().rssi) : 0;
    if (session_.signal_quality != quality) {
        session_.signal_quality = quality;
        report(Indicator::SIGNAL, quality);
    }
    const bool service = network_.registered();
    if (session_.service != service) {
        session_.service = service;
        report(Indicator::SERVICE, service ? 1 : 0);
        report(Indicator::ROAM, network_.roaming() ? 1 : 0);
        report(Indicator::GPRS, network_.attached() ? 2 : 1); // 2: attached, 1: on offer
    }
}

void Module::insert_card(Slot slot, bool present)
{
    sims_.insert(slot, present);
    const bool watched = slot == Slot::EXTERNAL; // only the holder has a detection pin
    const auto setting = session_.in_force.find("udconf.50");
    const bool hot_swap = setting != session_.in_force.end() && setting->second == "1";
    if (powered_ && watched && hot_swap) {
        if (const auto line = indicator_line(session_, Indicator::SIM, present ? 1 : 0)) {
            urc(*line);
        }
    }
}

AtAnswer Module::execute(const AtRequest& request)
{
    return run_command(*this, request);
}

} // namespace bench
