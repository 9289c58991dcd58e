#include "module/command_table.hpp"
#include "module/module.hpp"

#include <array>

namespace bench {
namespace {

/// What keeps the card from answering at all, whatever is asked.
Cme card_error(Module& module)
{
    if (module.sims().busy()) {
        return Cme::SIM_BUSY;
    }
    if (!module.sims().current().present) {
        return Cme::SIM_NOT_INSERTED;
    }
    return module.sims().current().lock() == SimCard::Lock::DEAD ? Cme::SIM_FAILURE : Cme::NONE;
}

Cme lock_error(SimCard::Lock lock)
{
    switch (lock) {
    case SimCard::Lock::READY:
        return Cme::NONE;
    case SimCard::Lock::PIN:
        return Cme::SIM_PIN_REQUIRED;
    case SimCard::Lock::PUK:
        return Cme::SIM_PUK_REQUIRED;
    case SimCard::Lock::DEAD:
        return Cme::SIM_FAILURE;
    }
    return Cme::SIM_FAILURE;
}

AtAnswer pin_status(SimCard::Lock lock)
{
    switch (lock) {
    case SimCard::Lock::READY:
        return AtAnswer::line("+CPIN: READY");
    case SimCard::Lock::PIN:
        return AtAnswer::line("+CPIN: SIM PIN");
    case SimCard::Lock::PUK:
        return AtAnswer::line("+CPIN: SIM PUK");
    case SimCard::Lock::DEAD:
        break;
    }
    return AtAnswer::failed(Cme::SIM_FAILURE);
}

// +CPIN="<pin>", or +CPIN="<puk>","<new pin>" once the PIN is blocked.
AtAnswer enter_pin(Module& module, const AtRequest& request)
{
    auto& card = module.sims().current();
    switch (card.lock()) {
    case SimCard::Lock::READY:
        return AtAnswer::failed(Cme::OPERATION_NOT_ALLOWED);
    case SimCard::Lock::DEAD:
        return AtAnswer::failed(Cme::SIM_FAILURE);
    case SimCard::Lock::PUK:
        if (request.args.size() < 2) {
            return AtAnswer::failed(Cme::SIM_PUK_REQUIRED);
        }
        if (!card.enter_puk(request.argument(0), request.argument(1))) {
            return AtAnswer::failed(Cme::INCORRECT_PASSWORD);
        }
        break;
    case SimCard::Lock::PIN:
        if (!card.enter_pin(request.argument(0))) {
            const bool blocked = card.lock() == SimCard::Lock::PUK;
            return AtAnswer::failed(blocked ? Cme::SIM_PUK_REQUIRED : Cme::INCORRECT_PASSWORD);
        }
        break;
    }
    module.update_radio();
    return AtAnswer::ok();
}

AtAnswer pin(Module& module, const AtRequest& request)
{
    if (const auto error = card_error(module); error != Cme::NONE) {
        return AtAnswer::failed(error);
    }
    switch (request.form) {
    case Form::READ:
        return pin_status(module.sims().current().lock());
    case Form::SET:
        return enter_pin(module, request);
    case Form::EXECUTE:
    case Form::TEST:
        break;
    }
    return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
}

// +UPINCNT: <PIN>,<PIN2>,<PUK>,<PUK2> attempts left
AtAnswer pin_counters(Module& module, const AtRequest&)
{
    if (const auto error = card_error(module); error != Cme::NONE) {
        return AtAnswer::failed(error);
    }
    const auto& card = module.sims().current();
    return AtAnswer::line("+UPINCNT: " + std::to_string(card.pin_attempts()) + "," +
                          std::to_string(SimCard::PIN_ATTEMPTS) + "," + std::to_string(card.puk_attempts()) +
                          "," + std::to_string(SimCard::PUK_ATTEMPTS));
}

// The ICCID can be read from a locked card, the IMSI cannot.
AtAnswer card_number(Module& module, const AtRequest&)
{
    if (const auto error = card_error(module); error != Cme::NONE) {
        return AtAnswer::failed(error);
    }
    return AtAnswer::line("+CCID: " + module.sims().current().identity().iccid);
}

AtAnswer subscriber(Module& module, const AtRequest&)
{
    const auto error = card_error(module);
    const auto locked = lock_error(module.sims().current().lock());
    if (error != Cme::NONE || locked != Cme::NONE) {
        return AtAnswer::failed(error != Cme::NONE ? error : locked);
    }
    return AtAnswer::line(module.sims().current().identity().imsi);
}

constexpr std::array ROWS{
    CommandRow{"+CPIN", BOTH, &pin, 10},
    CommandRow{"+UPINCNT", BOTH, &pin_counters},
    CommandRow{"+CCID", BOTH, &card_number},
    CommandRow{"+CIMI", BOTH, &subscriber},
};

} // namespace

std::span<const CommandRow> sim_commands()
{
    return ROWS;
}

} // namespace bench
