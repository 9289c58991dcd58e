#include "at/at_text.hpp"
#include "at/fields.hpp"
#include "bus/publish.hpp"
#include "sim/sim_handler.hpp"

#include <ecu/kova/logging.hpp>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.sim");

constexpr const char* PIN_LOCKED_TOPIC = "rt/system/status_ext_sim_card_pin_locked";

constexpr int LAST_PIN_ATTEMPT = 1;                     // left to a person: the configured PIN may be wrong
constexpr const char* WRONG_PIN = "incorrect password"; // 3GPP TS 27.007, 9.2.1, code 16
constexpr int IDENTITY_TRIES = 3;                       // a card is busy for a moment after its PIN
constexpr auto IDENTITY_PAUSE = 1s;
constexpr auto IDENTITY_PERIOD = 20s; // of what those tries, or an order amid them, left unknown
constexpr at::Digits ICCID{18, 20};   // ITU-T E.118: 19 or 20, fewer on old cards
constexpr at::Digits IMSI{10, 15};    // ITU-T E.212

} // namespace

bool SimHandler::unlock_pin()
{
    if (current_type_ == defs::SimType::NONE) {
        return false;
    }
    if (sim_ready_) {
        return true;
    }
    LOG.debug("Try unlocking PIN for SIM ", defs::to_str(current_type_));
    const bool locked = query_and_unlock();
    publish_lock(locked);
    return sim_ready_;
}

/// @return whether the SIM was found PIN-locked.
bool SimHandler::query_and_unlock()
{
    static const AtCommand QUERY("+CPIN?");
    const auto answer = port_->execute(QUERY);
    const bool silent = !answer.is_ok() && answer.unwrapErr().code == AtErrorCode::Timeout;
    unanswered_ = silent ? unanswered_ + 1 : 0;
    if (!answer.is_ok()) {
        handle_cpin_failure(answer.unwrapErr());
        return false;
    }
    const std::string text = answer.unwrap().payload("+CPIN");
    switch (pin_state(text)) {
    case PinState::READY:
        LOG.info("Pin is ready, set sim ready.");
        // Only the external SIM's errors are forgiven here; those of the soldered one point at the board.
        if (current_type_ == defs::SimType::EXTERNAL) {
            error_counter_ = 0;
        }
        set_ready();
        return false;
    case PinState::PIN:
        return handle_pin_request();
    case PinState::PUK:
        set_locked();
        return true;
    case PinState::OTHER_CODE:
        log_once("SIM asks for '" + at::mask_secrets(text) + "', which no PIN of ours is");
        return false;
    case PinState::UNREADABLE:
        break;
    }
    ++error_counter_;
    LOG.notice("Unable to read the PIN state in '", at::mask_secrets(text),
               "'. Error counter: ", error_counter_);
    return false;
}

/// A lasting condition that waits for a person is told once, not at every poll.
void SimHandler::log_once(const std::string& text)
{
    if (text != last_lock_text_) {
        LOG.warning(text);
        last_lock_text_ = text;
    }
}

SimHandler::PinState SimHandler::pin_state(const std::string& answer)
{
    const auto has = [&answer](const char* text) { return answer.find(text) != std::string::npos; };
    if (has("READY")) {
        return PinState::READY;
    }
    // Codes other than the card's own PIN and PUK (3GPP TS 27.007, 8.3)
    if (has("PIN2") || has("PUK2") || has("PH-")) {
        return PinState::OTHER_CODE;
    }
    if (has("SIM PIN")) {
        return PinState::PIN;
    }
    return has("SIM PUK") ? PinState::PUK : PinState::UNREADABLE;
}

void SimHandler::handle_cpin_failure(const AtError& error)
{
    LOG.notice("Unable to execute: '+CPIN?' (pin enter status) ", to_log_text(error));
    sim_ready_ = false;
    if (error.code == AtErrorCode::Timeout || error.code == AtErrorCode::PortClosed) {
        LOG.notice("+CPIN? timeout. AtPort seem to have disappeared");
        return;
    }
    ++error_counter_;
    if (error.says("SIM not inserted")) {
        LOG.notice("Pin returned: No SIM. Error counter: ", error_counter_);
        auto& record = data_->sim.of(current_type_);
        record.iccid.clear(); // the card they belonged to is gone
        record.imsi.clear();
        forced_internal_ = false;
        pin_refused() = false; // the next card may be another
        set_current(defs::SimType::NONE);
    } else {
        LOG.notice("Pin returned: Error/SIM busy. Error counter: ", error_counter_);
    }
}

/// The card asks for its PIN. @return whether it counts as locked.
bool SimHandler::handle_pin_request()
{
    LOG.info("Pin not ready, try unlocking.");
    switch (ask_pin_attempts()) {
    case PinEntry::ALLOWED:
        enter_pin();
        return false;
    case PinEntry::LOCKED:
        set_locked();
        return true;
    case PinEntry::FAILED:
        break;
    }
    return false;
}

/// Of the card in use; there is one.
bool& SimHandler::pin_refused()
{
    return pin_refused_[current_type_ == defs::SimType::EXTERNAL ? 1 : 0];
}

SimHandler::PinEntry SimHandler::ask_pin_attempts()
{
    const auto answer = port_->execute(AtCommand("+UPINCNT"));
    if (!answer.is_ok()) {
        LOG.error("Unable to retrieve PIN count: ", to_log_text(answer.unwrapErr()));
        ++error_counter_;
        return PinEntry::FAILED;
    }
    // +UPINCNT: <PIN>,<PIN2>,<PUK>,<PUK2>, attempts left
    int pin = -1;
    int pin2 = -1;
    int puk = -1;
    int puk2 = -1;
    const at::Fields counts(answer.unwrap(), "+UPINCNT");
    counts.read(1, pin2);
    counts.read(2, puk);
    counts.read(3, puk2);
    if (!counts.read(0, pin) || pin < 0) {
        LOG.error("unable to extract pin count from +UPINCNT result");
        ++error_counter_;
        return PinEntry::FAILED;
    }
    LOG.info("PINCNT: pin: ", pin, " pin2: ", pin2, " puk: ", puk, " puk2: ", puk2);
    if (pin <= LAST_PIN_ATTEMPT) {
        return PinEntry::LOCKED;
    }
    if (pin_refused()) {
        ++error_counter_; // it stays the failure it was, but the attempts are left to a corrected
                          // configuration
        log_once("The configured PIN (sim.external.pin) was refused and is not sent again, " +
                 std::to_string(pin) +
                 " attempts left: correct it and restart the daemon, or change the card");
        return PinEntry::FAILED;
    }
    if (data_->external_sim.held_.pin.empty()) {
        log_once("SIM asks for a PIN, but none is configured (sim.external.pin)");
        return PinEntry::FAILED;
    }
    return PinEntry::ALLOWED;
}

void SimHandler::enter_pin()
{
    const auto answer = port_->execute(AtCommand("+CPIN=\"" + data_->external_sim.held_.pin + "\""));
    if (!answer.is_ok()) {
        const AtError& error = answer.unwrapErr();
        ++error_counter_;
        LOG.error("Error entering pin (", static_cast<int>(error.code), "): '", to_log_text(error), "'");
        pin_refused() = error.says(WRONG_PIN);
        return;
    }
    LOG.notice(defs::to_str(current_type_), " SIM PIN entering succeeded!");
    set_ready();
}

void SimHandler::set_locked()
{
    log_once(std::string(defs::to_str(current_type_)) + " SIM card was lock with wrong PIN");
    data_->pb_state(ecu::kova::pb::ModemStatus_ModemState_LOCKED);
}

void SimHandler::set_ready()
{
    sim_ready_ = true;
    last_lock_text_.clear();
    read_identity();
}

void SimHandler::read_identity()
{
    auto& record = data_->sim.of(current_type_);
    record.iccid.clear();
    record.imsi.clear();
    for (int attempt = 1; attempt <= IDENTITY_TRIES; ++attempt) {
        query_identity();
        if (record.is_identified()) {
            break;
        }
        if (attempt < IDENTITY_TRIES) {
            clock_.sleep_for(IDENTITY_PAUSE);
        }
    }
    LOG.notice(" Active SIM '", defs::to_str(current_type_), "' IMSI '", record.imsi, "' ICCID '",
               record.iccid, "'");
}

void SimHandler::query_identity()
{
    auto& record = data_->sim.of(current_type_);
    const auto ccid = port_->execute(AtCommand("+CCID"));
    const auto cimi = port_->execute(AtCommand("+CIMI"));
    record.iccid = ccid.is_ok() ? at::last_identity(ccid.unwrap().complete_message(), ICCID) : "";
    record.imsi = cimi.is_ok() ? at::last_identity(cimi.unwrap().complete_message(), IMSI) : "";
    identity_asked_ = clock_.now();
}

void SimHandler::catch_up()
{
    if (lock_owed_) {
        publish_lock(*lock_owed_);
    }
    if (sim_ready_ && !data_->sim.of(current_type_).is_identified() &&
        clock_.now() - identity_asked_ >= IDENTITY_PERIOD) {
        query_identity();
    }
}

void SimHandler::publish_lock(bool locked)
{
    const bool taken =
        utils::publish_rt_data_raw(bus_, PIN_LOCKED_TOPIC, {static_cast<unsigned char>(locked ? 1 : 0)});
    lock_owed_ = taken ? std::nullopt : std::optional(locked);
}
