#pragma once

#include <string>

namespace bench {

/// A SIM card with its PIN as ETSI TS 102 221 clause 9.5 has it: three attempts, then ten with the PUK, then
/// never again. The counters live on the card: a restart of the module does not bring them back, a right
/// entry does.
class SimCard {
public:
    enum class Lock { READY, PIN, PUK, DEAD };

    static constexpr int PIN_ATTEMPTS = 3;
    static constexpr int PUK_ATTEMPTS = 10;

    struct Identity {
        std::string iccid;
        std::string imsi;
        std::string pin; ///< empty: the PIN is disabled
        std::string puk = "12345678";
    };

    explicit SimCard(Identity identity) : identity_(std::move(identity)) {}

    /// The card got its supply anew: a PIN that was entered is forgotten.
    void power_up() { verified_ = false; }

    bool enter_pin(const std::string& pin);
    bool enter_puk(const std::string& puk, const std::string& new_pin);

    Lock lock() const;
    const Identity& identity() const { return identity_; }
    int pin_attempts() const { return pin_attempts_; }
    int puk_attempts() const { return puk_attempts_; }
    void pin_attempts(int left) { pin_attempts_ = left; }

    bool present = true; ///< in its holder

private:
    Identity identity_;
    bool verified_ = false;
    int pin_attempts_ = PIN_ATTEMPTS;
    int puk_attempts_ = PUK_ATTEMPTS;
};

} // namespace bench
