#include "record/check_pin.hpp"

namespace bench {
namespace {

constexpr std::int64_t LAST_ATTEMPT_LEFT = 1;
constexpr auto ENTRY = "AT+CPIN=";
constexpr auto WRONG = "incorrect password"; ///< 3GPP TS 27.007 clause 9.2.1, error 16
constexpr auto NO_CARD = "SIM not inserted"; ///< error 10
constexpr auto CARD_CHANGE = "+CIEV: 12";

} // namespace

void PinRules::feed(const TranscriptLine& line)
{
    const auto result = line.field(4);
    if (line.kind == "pin") {
        const auto left = line.number(0);
        if (!left || *left <= LAST_ATTEMPT_LEFT) {
            broken(Rule::LAST_ATTEMPT, line, "a PIN was sent with " + line.field(0) + " attempts left");
        }
    } else if (line.kind == "command" && refused_.erase(line.field(1)) != 0) {
        broken(Rule::WRONG_PIN, line, "a PIN was sent again that the card had refused");
    } else if (line.kind == "answer" && line.field(3).starts_with(ENTRY) &&
               result.find(WRONG) != std::string::npos) {
        refused_.insert(line.field(3));
    } else if ((line.kind == "answer" && result.find(NO_CARD) != std::string::npos) ||
               (line.kind == "report" && line.field(0).starts_with(CARD_CHANGE)) ||
               (line.kind == "line" && line.field(2) == "set-up")) {
        refused_.clear(); // the next card may be another; a daemon that starts knows of none
    }
}

} // namespace bench
