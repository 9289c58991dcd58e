#include "record/check_board.hpp"

namespace bench {
namespace {

constexpr auto POWER_OFF = "AT+CPWROFF";
constexpr auto MODEL = "AT+GMM";

/// From the order to the supply away: the power-off sequence of a module that hangs (docs/bus.md: 52 and 77
/// s), two seconds until it begins, the rest for a busy computer whose clock runs ten times as fast.
constexpr std::int64_t SARA_SILENT_MS = 60'000;
constexpr std::int64_t TOBY_SILENT_MS = 85'000;

} // namespace

void BoardRules::feed(const TranscriptLine& line)
{
    if (line.kind == "bench") {
        toby_ = line.field(0) == "toby";
    } else if (line.kind == "line") {
        board_line(line);
    } else if (line.kind == "module") {
        up_ = line.field(0) == "up";
        known_ = asked_to_end_ = false;
    } else if (line.kind == "port") {
        // Nobody can ask a module whose port is away.
        known_ = known_ && line.field(0) != "there" && line.field(0) != "gone";
    } else if (line.kind == "command") {
        asked_to_end_ = asked_to_end_ || line.field(1) == POWER_OFF;
    } else if (line.kind == "answer") {
        known_ = known_ || (line.field(3) == MODEL && line.field(4) == "OK");
    } else if (line.kind == "note") {
        note(line);
    }
    if (supply_ && silent_ms_ && line.at_ms > *silent_ms_) {
        broken(Rule::RADIO_SILENCE, line, "the module has its supply in radio silence");
        silent_ms_.reset(); // said once
    }
}

void BoardRules::board_line(const TranscriptLine& line)
{
    if (line.field(0) != "VCC") {
        return;
    }
    supply_ = line.field(1) == "on";
    const bool cut = !supply_ || line.field(2) == "pulsed";
    const bool set_up = line.field(2) == "set-up"; // a start of the daemon, which knows no module yet
    if (cut && !set_up && up_ && known_ && !asked_to_end_) {
        broken(Rule::SUPPLY, line, "the supply was taken from a running module without \"+CPWROFF\"");
    }
}

void BoardRules::note(const TranscriptLine& line)
{
    if (line.field(0) == "blackout on") {
        silent_ms_ = line.at_ms + (toby_ ? TOBY_SILENT_MS : SARA_SILENT_MS);
    } else if (line.field(0) == "blackout off") {
        silent_ms_.reset();
    }
}

} // namespace bench
