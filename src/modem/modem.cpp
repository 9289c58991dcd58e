#include "modem/modem.hpp"

#include "modem/decisions.hpp"
#include "modem/modem_rooms.hpp"
#include "modem/persistent_settings.hpp"

#include <ecu/kova/logging.hpp>

#include <cstdlib>
#include <iostream>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

constexpr auto FLUSH_TIMEOUT = 2s; // for the last state to reach the broker

} // namespace

Modem::Modem(std::unique_ptr<ecu::kova::config::Configuration> configuration, std::shared_ptr<AtTtyPort> port,
             Clock& clock, ecu::kova::com::TransportType transport)
    : configuration_(std::move(configuration)), port_(std::move(port)), clock_(clock), transport_(transport),
      pauses_(clock, orders_.wakeup())
{
    port_->add_observer(this);
}

Modem::~Modem()
{
    rooms_.reset();
    static_cast<void>(port_->stop()); // the port thread calls `urc`
}

void Modem::init(const std::function<bool()>& stop_seen)
{
    rooms_ = std::make_unique<Rooms>(*this, stop_seen);
    if (rooms_->ground.variables->stop_wanted()) {
        stop(); // not switched on, whatever is known by now
        return;
    }
    const auto& settings = rooms_->ground.settings;
    if (!settings.board_ready) {
        LOG.error("Unable to initialize GPIOs, bailing out!");
        LOG.warning("celld goes on without the board's lines: it cannot switch the module, only speak to one "
                    "that is on. "
                    "A restart of the service tries the lines again.");
        return;
    }
    if (settings.off_by_parameter) {
        LOG.notice("ModemOnOff parameter indicates to not start the modem.");
        machine_.change(State::OFF, "parameter 41060");
    }
    if (!settings.modem_fitted) {
        LOG.notice("Board doesn't have a modem, put celld to off state!");
        machine_.change(State::NO_MODEM_HARDWARE, "the board has no modem");
    }
}

void Modem::run(RunAction action)
{
    action_ = action;
    LOG.notice("Start running modem state machine.");
    rooms_->journal.started();
    try {
        loop();
    } catch (const SetUpImpossible& impossible) {
        std::cerr << impossible.what() << std::endl;
        std::_Exit(EXIT_FAILURE);
    } catch (const std::exception& error) { // no memory, no thread: nobody supervises the module from here on
        LOG.error("The state machine cannot go on: ", error.what());
        power_off();
    }
    finish();
}

void Modem::loop()
{
    while (!orders_.stop_wanted()) {
        const Pass wanted = pass();
        if (wanted.leave) {
            return;
        }
        rest(wanted);
    }
    tell_pass();
    power_off();
}

void Modem::tell_pass() const
{
    if (pass_begins_) {
        pass_begins_();
    }
}

void Modem::rest(const Pass& wanted)
{
    if (wanted.rest > 0ms) {
        pauses_.sleep_for(wanted.rest);
    }
}

/// Whatever ended the loop: no thread is left, and a late subscriber finds the last state.
void Modem::finish()
{
    rooms_->power.end_port_wait();
    rooms_->antenna.stop();
    rooms_->link.stop_watch();
    rooms_->journal.ended(state());
    if (state() == State::OFF) {
        machine_.tell_published(); // a modem that never was anything else, too
        rooms_->ground.status.update(false, true);
    }
    if (!rooms_->ground.bus->flush(FLUSH_TIMEOUT)) {
        LOG.notice("The last state did not reach the broker in ",
                   std::chrono::duration_cast<std::chrono::seconds>(FLUSH_TIMEOUT).count(),
                   " s: what it retains is older");
    }
}

Pass Modem::pass()
{
    tell_pass();
    orders_.heed();
    rooms_->search.begin_pass();
    log_network_status();
    keep_radio_silence();
    // A "configure" run ends in CONFIGURED: nothing carries the state on before the loop has seen it.
    if (action_ != RunAction::CONFIGURE || state() != State::CONFIGURED) {
        reset_if_be_timer_expired();
        process_urc_queue();
        check_sim();
    }
    rooms_->hardware_error.retry();

    Pass wanted = machine_.step();
    if (!wanted.leave) {
        const State before = state();
        rooms_->port_health.watch();
        rooms_->vigil.watch();
        if (state() != before) {
            wanted.rest = 0ms;
        }
    }
    rooms_->ground.status.update(false, false);
    rooms_->inbox.tell_counts();
    bus_inbox_.tell_counts();
    return wanted;
}

/// Once given up, the module is the recovery's.
void Modem::keep_radio_silence()
{
    const State now = state();
    if (orders_.silence_wanted() && now != State::OFF && now != State::NO_MODEM_HARDWARE &&
        now != State::DTC_HW_ERROR) {
        machine_.change(evaluate_radio_silence(), "radio silence");
    }
}

void Modem::log_network_status()
{
    if (!LOG.wants(ecu::kova::logging::Level::DEBUG)) {
        return;
    }
    const std::string text = "Current state: " + state_text(state()) + "  NW status:\n" + data_.nw_reg.text();
    if (text != last_network_status_) {
        last_network_status_ = text;
        LOG.debug(text);
    }
}

void Modem::stop() noexcept
{
    LOG.defer(ecu::kova::logging::Level::NOTICE, "celld will be stopped ...");
    orders_.stop();
}
