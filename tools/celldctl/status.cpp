#include "snapshot_observer.hpp"
#include "status_views.hpp"
#include "verbs.hpp"

#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = SnapshotObserver::Clock;

constexpr auto TIMEOUT = 5s;
constexpr auto LOOK_AGAIN = 20ms;
constexpr auto QUIET = 500ms; // after it the broker has nothing more that it retained

struct Settings {
    bool json = false;
    std::optional<std::chrono::seconds> timeout;
};

/// Has an end: what is on the bus has come, or nothing came for a while, or the time is over. Throws Failure
/// for a signal, and when the connection is gone by then.
void collect(Session& session, const BusLink& link, const SnapshotObserver& observer,
             std::chrono::seconds timeout)
{
    const auto begin = Clock::now();
    while (!observer.complete()) {
        const auto now = Clock::now();
        if (now - std::max(begin, observer.newest()) >= QUIET || now - begin >= timeout) {
            break;
        }
        if (session.signals.wait(LOOK_AGAIN)) {
            throw Failure(BY_SIGNAL + session.signals.ending(), "");
        }
    }
    if (!observer.complete() && !link.is_connected()) {
        throw link.no_connection();
    }
}

int answer(const ModemFacts& facts, const Snapshot& snapshot)
{
    const auto unreadable = snapshot.names(Presence::UNREADABLE);
    if (!unreadable.empty()) {
        throw Failure(UNREADABLE, "what the bus retains does not decode: " + unreadable);
    }
    return facts.connected ? SUCCESS : NO;
}

int show(Session& session, const Settings& settings)
{
    BusLink link(session.broker);
    const auto observer = std::make_shared<SnapshotObserver>(link.is_local());
    observe(link, observer);
    link.wait_until_connected(session.signals, patience(settings.timeout, TIMEOUT));
    collect(session, link, *observer, settings.timeout.value_or(TIMEOUT));
    const auto snapshot = observer->snapshot();
    const auto facts = facts_of(snapshot, now_of(link.is_local()));
    session.output.write(settings.json ? status_json(facts, snapshot) : status_text(facts, snapshot));
    return answer(facts, snapshot);
}

} // namespace

Run status(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.flag("--json", settings->json, "for a program, see celldctl-status.md");
    options.seconds("--timeout", settings->timeout, "try that long to reach the broker");
    return [settings](Session& session) { return show(session, *settings); };
}

} // namespace celldctl
