#include "describe.hpp"
#include "snapshot_observer.hpp"
#include "verbs.hpp"

#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = SnapshotObserver::Clock;

constexpr auto TIMEOUT = 300s; // a module that is switched on is mostly connected within three minutes
constexpr auto LOOK_AGAIN = 20ms;

struct Settings {
    std::string state;
    std::optional<std::chrono::seconds> timeout;
};

std::string name_of(ModemState state)
{
    return ecu::kova::pb::ModemStatus::ModemState_Name(state);
}

std::string seen_last(const SnapshotObserver& observer)
{
    const auto status = observer.snapshot().status;
    if (status.presence == Presence::UNREADABLE) {
        return "the last status does not decode";
    }
    if (!status.value.has_state()) {
        return "no status has come";
    }
    return (status.retained ? "what the broker retains is " : "the last state is ") +
           name_of(status.value.state());
}

/// The time is over.
Failure reason(const BusLink& link, const SnapshotObserver& observer, const std::string& what)
{
    if (!link.is_connected()) {
        return {link.no_connection().status(),
                std::string(link.no_connection().what()) + "; " + seen_last(observer)};
    }
    const bool unreadable = observer.snapshot().status.presence == Presence::UNREADABLE;
    return {unreadable ? UNREADABLE : TIME_OVER, what + "; " + seen_last(observer)};
}

int wait(Session& session, const Settings& settings)
{
    const auto wanted = *modem_state(settings.state);
    const auto timeout = settings.timeout.value_or(TIMEOUT);
    BusLink link(session.broker);
    const auto observer = std::make_shared<SnapshotObserver>(link.is_local(), wanted);
    observe(link, observer);
    const auto begin = Clock::now();
    while (!session.signals.wait(LOOK_AGAIN)) {
        if (observer->reached()) {
            session.output.write(name_of(wanted) + "\n");
            return SUCCESS;
        }
        link.check_not_refused();
        if (Clock::now() - begin >= timeout) {
            throw reason(link, *observer,
                         name_of(wanted) + " has not come within " + std::to_string(timeout.count()) + " s");
        }
    }
    throw Failure(BY_SIGNAL + session.signals.ending(), "interrupted; " + seen_last(*observer));
}

} // namespace

Run wait_for(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.one_of("STATE", settings->state, modem_state_words(), "the modem's state, such as connected");
    options.seconds("--timeout", settings->timeout, "end unsuccessfully after that time (default 300)");
    return [settings](Session& session) { return wait(session, *settings); };
}

} // namespace celldctl
