#include "modem/stoppable_variables.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem");

/// An optional operation of the platform library, found at compile time.
template <class Client>
std::string why_absent(Client& client, const std::string& name)
{
    std::string reason;
    if constexpr (requires { client.absence(name); }) {
        reason = client.absence(name);
    }
    return reason.empty() ? "the unit does not have it" : reason;
}

} // namespace

std::string StoppableVariables::get(const std::string& name, const std::string& fallback,
                                    std::chrono::milliseconds timeout)
{
    std::string value = wait_for(name, timeout);
    return value.empty() ? fallback : value;
}

std::string StoppableVariables::await(const std::string& name)
{
    return wait_for(name, std::nullopt);
}

std::string StoppableVariables::wait_for(const std::string& name, Patience patience)
{
    const auto begin = clock_.now();
    auto next_telling = begin;
    std::string value = inner_->get(name, "", 0ms);
    while (value.empty() && !stop_wanted_()) {
        const auto now = clock_.now();
        const auto left = patience ? begin + *patience - now : Clock::time_point::duration(LOOK_INTERVAL);
        if (left <= 0ms) {
            break;
        }
        if (now >= next_telling) {
            tell(name, patience, begin);
            next_telling = now + TELL_INTERVAL;
        }
        value = look(name, std::min(std::chrono::ceil<std::chrono::milliseconds>(left), LOOK_INTERVAL));
    }
    return value;
}

/// A client that has an empty value answers at once, and the same again: the slice passes all the same.
std::string StoppableVariables::look(const std::string& name, std::chrono::milliseconds slice)
{
    const auto end = clock_.now() + slice;
    std::string value = inner_->get(name, "", slice);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock_.now());
    if (value.empty() && left > 0ms) {
        clock_.sleep_for(left);
    }
    return value;
}

void StoppableVariables::tell(const std::string& name, Patience patience, Clock::time_point begin) const
{
    const std::string reason = why_absent(*inner_, name);
    if (patience) {
        LOG.notice("Waiting up to ", std::chrono::ceil<std::chrono::seconds>(*patience).count(),
                   " s for the ECU variable '", name, "': ", reason);
        return;
    }
    const auto hours = std::chrono::duration_cast<std::chrono::hours>(clock_.now() - begin).count();
    LOG.warning(hours == 0 ? "Waiting" : "Waiting for " + std::to_string(hours) + " h",
                " for the ECU variable '", name, "': ", reason);
}
