#include "radio/sim_card.hpp"

namespace bench {

SimCard::Lock SimCard::lock() const
{
    if (puk_attempts_ == 0) {
        return Lock::DEAD;
    }
    if (pin_attempts_ == 0) {
        return Lock::PUK;
    }
    return verified_ || identity_.pin.empty() ? Lock::READY : Lock::PIN;
}

bool SimCard::enter_pin(const std::string& pin)
{
    if (lock() != Lock::PIN) {
        return false;
    }
    verified_ = pin == identity_.pin;
    pin_attempts_ = verified_ ? PIN_ATTEMPTS : pin_attempts_ - 1;
    return verified_;
}

bool SimCard::enter_puk(const std::string& puk, const std::string& new_pin)
{
    if (lock() != Lock::PUK) {
        return false;
    }
    if (puk != identity_.puk) {
        --puk_attempts_;
        return false;
    }
    identity_.pin = new_pin;
    pin_attempts_ = PIN_ATTEMPTS;
    puk_attempts_ = PUK_ATTEMPTS;
    verified_ = true;
    return true;
}

} // namespace bench
