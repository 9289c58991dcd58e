#include "sim/sim_handler.hpp"

#include "at/fields.hpp"

#include <ecu/kova/logging.hpp>

#include <cassert>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.sim");

constexpr auto COMMAND_PAUSE = 1s;   // between the commands of a switch
constexpr auto SELECTION_PAUSE = 3s; // while the module restarts its SIM interface
constexpr auto CHANGE_PAUSE = 3s;    // before the new card is asked anything
constexpr const char* NO_SIM_LEFT = ": the SIM-lock input asks for the internal SIM, which hasintsim or "
                                    "sim.internal.state denies; no SIM is used";
constexpr int DETECTION_TRIES = 3;
constexpr auto DETECTION_PAUSE = 1s;

} // namespace

SimHandler::SimHandler(std::shared_ptr<AtTtyPort> port, ModemData* data, Clock& clock)
    : port_(std::move(port)), data_(data), clock_(clock)
{
}

void SimHandler::lock_active_on(ActiveValue value)
{
    lock_active_on_ = value;
    LOG.info("Set sim card lock active on: ", value == ActiveValue::HIGH ? "High" : "Low", " (",
             static_cast<int>(value), ")");
}

bool SimHandler::is_disabled(defs::SimType type) const
{
    switch (type) {
    case defs::SimType::INTERNAL:
        return data_->internal_sim.state() == defs::SimState::DISABLE;
    case defs::SimType::EXTERNAL:
        return data_->external_sim.state() == defs::SimState::DISABLE;
    case defs::SimType::NONE:
        break;
    }
    return false;
}

defs::SimType SimHandler::type_from_gpio(const std::shared_ptr<GpioCtrl>& gpio) const
{
    assert(gpio != nullptr);
    const bool level = gpio->sim_lock_active();
    return level == (lock_active_on_ == ActiveValue::HIGH) ? defs::SimType::EXTERNAL
                                                           : defs::SimType::INTERNAL;
}

bool SimHandler::is_external_simcard_present() const
{
    if (variant_ == nullptr) {
        return false;
    }
    if (!variant_->has_sim_detection_pin()) {
        return true;
    }
    for (int attempt = 1; attempt <= DETECTION_TRIES; ++attempt) { // one failure is no empty holder
        if (const auto present = read_detection_pin()) {
            return *present;
        }
        if (attempt < DETECTION_TRIES) {
            clock_.sleep_for(DETECTION_PAUSE);
        }
    }
    return false;
}

/// Nothing when the module does not say.
std::optional<bool> SimHandler::read_detection_pin() const
{
    AtCommand query("+UGPIOR=" + std::to_string(variant_->sim_detection_gpio()));
    query.expected_prefix = "+UGPIO"; // some firmware answers "+UGPIO:", some "+UGPIOR:"
    const auto answer = port_->execute(query);
    if (!answer.is_ok()) {
        LOG.error("Unable to read SIM DET pin from modem (", to_log_text(answer.unwrapErr()), ")");
        return std::nullopt;
    }
    // +UGPIOR: <gpio_id>,<gpio_val>
    const auto& response = answer.unwrap();
    const bool own_name = response.complete_message().find("+UGPIOR:") != std::string::npos;
    const at::Fields fields(response, own_name ? "+UGPIOR" : "+UGPIO");
    const auto value = fields[1].decimal();
    return value ? std::optional(*value == 1) : std::nullopt;
}

void SimHandler::set_current(defs::SimType type)
{
    current_type_ = type;
    unanswered_ = 0;
    data_->sim.active = type;
}

bool SimHandler::sim_selection(defs::SimType type)
{
    if (variant_ == nullptr) {
        LOG.error("No modem variant set, unable to execute SIM handler");
        return false;
    }
    if (type == defs::SimType::NONE) {
        return false;
    }
    if (is_disabled(type)) {
        LOG.notice(defs::to_str(type), " is disabled, prohibit sim selection");
        return false;
    }
    set_current(type);
    if (!run_selection(type)) {
        set_current(defs::SimType::NONE); // the record must not say what the module did not do
        error_counter_ += port_->is_interrupted() ? 0 : 1; // an order overtook it: no fault of the card
        return false;
    }
    return true;
}

/// Where the selection restarts the module, a lost answer to its last command is what that looks like.
bool SimHandler::restarted_instead(const AtError& error) const
{
    const bool lost = error.code == AtErrorCode::Timeout || error.code == AtErrorCode::PortClosed;
    return lost && !error.is_interruption() && variant_->sim_selection_restarts_module();
}

bool SimHandler::run_selection(defs::SimType type)
{
    const auto sequence = variant_->sim_selection_sequence(type);
    for (const auto& command : sequence) {
        const auto answer = port_->execute(command);
        if (!answer.is_ok() && &command == &sequence.back() && restarted_instead(answer.unwrapErr())) {
            LOG.notice("'", command.text_for_log(), "' was not answered: the module restarts");
        } else if (!answer.is_ok()) {
            LOG.error("Unable to execute: '", command.text_for_log(),
                      "' when attempting to switch sim-card, error: ", to_log_text(answer.unwrapErr()));
            return false;
        }
        clock_.sleep_for(COMMAND_PAUSE);
    }
    clock_.sleep_for(SELECTION_PAUSE);
    return true;
}

defs::SimType SimHandler::replace_disabled(defs::SimType detected)
{
    if (!is_disabled(detected)) {
        last_disabled_text_.clear();
        return detected;
    }
    const auto other = detected == defs::SimType::EXTERNAL ? defs::SimType::INTERNAL : defs::SimType::NONE;
    std::string text =
        std::string(defs::to_str(detected)) + " is disabled, select '" + defs::to_str(other) + "'";
    if (text != last_disabled_text_) {
        LOG.write(other == defs::SimType::NONE ? ecu::kova::logging::Level::WARNING
                                               : ecu::kova::logging::Level::INFO,
                  text, other == defs::SimType::NONE ? NO_SIM_LEFT : "");
        last_disabled_text_ = std::move(text);
    }
    return other;
}

defs::SimType SimHandler::choose(const std::shared_ptr<GpioCtrl>& gpio)
{
    const auto choice = replace_disabled(type_from_gpio(gpio));
    if (!forced_internal_) {
        return choice;
    }
    // The fall-back holds until the SIM-lock input itself points to the internal SIM.
    if (choice == defs::SimType::INTERNAL) {
        forced_internal_ = false;
    }
    return defs::SimType::INTERNAL; // never a disabled one: see switch_to
}

bool SimHandler::handle_sim_change(const std::shared_ptr<GpioCtrl>& gpio)
{
    const auto chosen = choose(gpio);
    return chosen != current_type_ && switch_to(chosen);
}

bool SimHandler::select_after_power_up(const std::shared_ptr<GpioCtrl>& gpio)
{
    set_current(defs::SimType::NONE);
    sim_ready_ = false;
    return handle_sim_change(gpio);
}

bool SimHandler::switch_to(defs::SimType chosen)
{
    LOG.notice("Switch SIM from: '", defs::to_str(current_type_), "' to detected SIM: '",
               defs::to_str(chosen), "'");
    set_current(chosen);
    sim_ready_ = false;
    bool switched = sim_selection(chosen);
    // Without an internal SIM to fall back to, the holder stays selected: a card may yet be inserted.
    const bool may_fall_back = !is_disabled(defs::SimType::INTERNAL);
    if (current_type_ == defs::SimType::EXTERNAL && may_fall_back && !is_external_simcard_present()) {
        LOG.notice(defs::to_str(defs::SimType::EXTERNAL), " but no SIM card inserted, force ",
                   defs::to_str(defs::SimType::INTERNAL));
        set_current(defs::SimType::INTERNAL);
        forced_internal_ = true;
        switched = sim_selection(defs::SimType::INTERNAL);
    }
    clock_.sleep_for(CHANGE_PAUSE);
    return switched;
}

void SimHandler::card_removed()
{
    auto& record = data_->sim.of(current_type_);
    LOG.notice(defs::to_str(current_type_), " removed, ICCID '", record.iccid, "'");
    record.iccid.clear();
    record.imsi.clear();
    sim_ready_ = false;
    pin_refused() = false; // the next card may be another
}

void SimHandler::sim_detection(defs::SimDetection detection)
{
    if (detection == defs::SimDetection::INSERTED && !sim_ready_) {
        unlock_pin();
    }
}
