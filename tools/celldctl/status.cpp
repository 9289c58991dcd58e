#include "snapshot_observer.hpp"
#include "status_views.hpp"
#include "verbs.hpp"

#include <iostream>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
namespace com = ecu::kova::com;
using Clock = SnapshotObserver::Clock;

constexpr auto TIMEOUT = 5s;
constexpr auto LOOK_AGAIN = 20ms;
constexpr auto QUIET = 500ms; // after it the broker has nothing more that it retained

/// Has an end: what is on the bus has come, or nothing came for a while although there is a connection, or
/// the time is over. False when the bus has not answered by then, or a signal came.
bool collect(Session& session, const com::ITransportClient& client, const SnapshotObserver& observer,
             std::chrono::seconds timeout)
{
    const auto begin = Clock::now();
    std::optional<Clock::time_point> connected;
    while (!session.stop.wait(LOOK_AGAIN)) {
        const auto now = Clock::now();
        if (!client.is_connected()) {
            connected.reset();
        } else if (!connected) {
            connected = now;
        }
        if (observer.complete() || (connected && now - std::max(*connected, observer.newest()) >= QUIET)) {
            return true;
        }
        if (now - begin >= timeout) {
            return connected.has_value();
        }
    }
    return false;
}

int show(const Snapshot& snapshot, bool json)
{
    const auto facts = facts_of(snapshot);
    std::cout << (json ? status_json(facts, snapshot) : status_text(facts, snapshot)) << std::flush;
    if (!std::cout) {
        complain("standard output cannot be written");
        return NO_ANSWER;
    }
    return facts.connected ? SUCCESS : NOT_CONNECTED;
}

} // namespace

int status(Session& session, Arguments& arguments)
{
    const bool json = arguments.take_flag("--json");
    const auto timeout = arguments.take_seconds("--timeout").value_or(TIMEOUT);
    arguments.expect_none();
    const auto observer = std::make_shared<SnapshotObserver>();
    const auto client = observe(session, observer);
    if (!client) {
        return NO_ANSWER;
    }
    if (!collect(session, *client, *observer, timeout)) {
        if (!session.stop.wait(0ms)) {
            complain(session.no_answer_within(timeout));
        }
        return NO_ANSWER;
    }
    return show(observer->snapshot(), json);
}

} // namespace celldctl
