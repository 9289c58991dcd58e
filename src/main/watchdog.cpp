#include "main/watchdog.hpp"

#include <ecu/kova/logging.hpp>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <service/notify.hpp>
#include <string>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.main");

// In the manager's time: one that is lost, or late by a long command, does no harm.
constexpr int TELLINGS = 4;

/// Nothing for one that is not set, 0 for one that is no number.
std::optional<std::uint64_t> number_of(const char* variable)
{
    const char* const text = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (text == nullptr) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    const char* const end = text + std::strlen(text);
    const auto [read, error] = std::from_chars(text, end, number);
    return error == std::errc{} && read == end ? number : 0;
}

/// 0 when the manager does not want to know, or not of this process.
std::chrono::microseconds interval_wanted()
{
    const auto interval = number_of("WATCHDOG_USEC");
    const auto process = number_of("WATCHDOG_PID");
    if (!interval || (process && *process != static_cast<std::uint64_t>(::getpid()))) {
        return 0us;
    }
    if (*interval == 0 || *interval > std::numeric_limits<std::int64_t>::max()) {
        LOG.warning("WATCHDOG_USEC is no time: the service manager is not told that the loop goes on");
        return 0us;
    }
    return std::chrono::microseconds(*interval);
}

} // namespace

Watchdog::Watchdog(const Clock& clock) : clock_(clock), interval_(interval_wanted())
{
    if (interval_ > 0us && interval_ < LEAST_INTERVAL) {
        LOG.warning("The service manager's watchdog of ",
                    std::chrono::duration_cast<std::chrono::seconds>(interval_).count(),
                    " s is shorter than a command may take: less than ", LEAST_INTERVAL.count(),
                    " s may end a celld that does its work");
    }
}

void Watchdog::pass_begins()
{
    if (interval_ > 0us) {
        pass_began_ = clock_.now();
        tell();
    }
}

void Watchdog::command_over()
{
    if (std::this_thread::get_id() == loop_ && interval_ > 0us && clock_.now() - pass_began_ < LONGEST_PASS) {
        tell();
    }
}

/// A manager that does not read now is told next time.
void Watchdog::tell()
{
    const auto now = clock_.now();
    if (told_ && now - *told_ < interval_ / TELLINGS) {
        return;
    }
    if (service::notify("WATCHDOG=1", 0s)) {
        told_ = now;
    }
}
