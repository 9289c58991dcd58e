#include "at/at_exchange.hpp"
#include "at/at_tty_port.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

// Back in step with a module that owes answers. The module answers one command after the other, so what it
// still owes comes first; a query whose line tells itself apart, the marker, shows that nothing older will
// come any more.

namespace {

using namespace std::chrono_literals;

constexpr int ATTEMPTS = 2;
constexpr auto QUIET = 200ms;    // nothing more follows a burst
constexpr auto QUIET_BOUND = 2s; // for a module that never stops reporting
constexpr auto MARKER_TIMEOUT = 3s;

// Known to every module, whatever its state and SIM (3GPP TS 27.007: 9.1, 8.2, 10.1.19, 8.10), and asked by
// nobody else. One that is still unanswered is not asked again, or the late answer to the first would be
// taken for the second's. When all are, since the module hangs, or loses what it is sent while it is busy,
// the newest is repeated: an answer counts for the first of them, so the others are free again and one of
// those decides.
constexpr std::array MARKERS{"+CMEE?", "+CFUN?", "+CGEREP?", "+CMER?"};

} // namespace

bool AtTtyPort::is_marker_line(const AtCommandResponse& response)
{
    return std::any_of(MARKERS.begin(), MARKERS.end(), [&response](std::string_view marker) {
        return response.prefix == marker.substr(0, marker.size() - 1); // without its question mark
    });
}

bool AtTtyPort::is_in_step()
{
    const threads::MutexLock held(exchange_mutex_);
    return unanswered_.empty();
}

std::size_t AtTtyPort::strays()
{
    const threads::MutexLock held(exchange_mutex_);
    return strays_;
}

// Free for a line that is in step. At most about seven seconds for one that is not.
bool AtTtyPort::get_in_step()
{
    if (is_in_step()) {
        return true;
    }
    for (int attempt = 0; attempt < ATTEMPTS && running_ && !interrupted_; ++attempt) {
        (void)await_quiet(QUIET); // a flood that goes on does not matter: the marker decides
        if (is_in_step()) {
            return true;
        }
        const auto strays_before = strays();
        ask_marker();
        if (await_quiet(QUIET) && is_in_step() && strays() == strays_before) {
            return true;
        }
    }
    return false;
}

// What has come when it returns shows in what is unanswered.
void AtTtyPort::ask_marker()
{
    if (const auto exchange = publish(make_marker())) {
        (void)wait_for(exchange);
    }
}

std::shared_ptr<AtTtyPort::Exchange> AtTtyPort::make_marker()
{
    const threads::MutexLock held(exchange_mutex_);
    std::string newest = MARKERS.back();
    std::set<std::string_view> pending;
    for (const auto& one : unanswered_) {
        pending.insert(one->command.command);
        newest = one->is_marker ? one->command.command : newest;
    }
    const auto free = std::find_if(MARKERS.begin(), MARKERS.end(),
                                   [&pending](const auto& marker) { return !pending.contains(marker); });
    auto marker =
        std::make_shared<Exchange>(AtCommand(free == MARKERS.end() ? newest : *free, MARKER_TIMEOUT));
    marker->is_marker = true;
    return marker;
}

// Whether nothing came for so long.
bool AtTtyPort::await_quiet(std::chrono::milliseconds quiet)
{
    const auto give_up = clock_.now() + quiet + QUIET_BOUND;
    threads::MutexLock held(exchange_mutex_);
    while (running_ && !interrupted_ && clock_.now() < give_up) {
        const auto heard = heard_;
        const auto deadline = clock_.now() + quiet;
        while (running_ && !interrupted_ && clock_.wait_until(answered_, held.standard(), deadline)) {
        }
        if (heard == heard_) {
            return running_ && !interrupted_;
        }
    }
    return false;
}
