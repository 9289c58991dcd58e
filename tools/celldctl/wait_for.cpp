#include "describe.hpp"
#include "snapshot_observer.hpp"
#include "verbs.hpp"

#include <iostream>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = SnapshotObserver::Clock;

constexpr auto TIMEOUT = 300s; // a module that is switched on is mostly connected within three minutes
constexpr auto LOOK_AGAIN = 20ms;

ModemState wanted_state(Arguments& arguments)
{
    const auto name = arguments.take_word();
    if (!name) {
        throw UsageError("wait-for needs a modem state such as 'connected'");
    }
    const auto state = modem_state(*name);
    if (!state) {
        throw UsageError("wait-for needs a modem state such as 'connected', not '" + *name + "'");
    }
    return *state;
}

std::string name_of(ModemState state)
{
    return ecu::kova::pb::ModemStatus::ModemState_Name(state);
}

std::string seen_last(const SnapshotObserver& observer)
{
    const auto status = observer.snapshot().status;
    if (status.presence == Presence::UNREADABLE) {
        return "the last status is unreadable";
    }
    if (!status.value.has_state()) {
        return "no status has come";
    }
    return "the last state is " + name_of(status.value.state());
}

} // namespace

int wait_for(Session& session, Arguments& arguments)
{
    const auto timeout = arguments.take_seconds("--timeout").value_or(TIMEOUT);
    const auto wanted = wanted_state(arguments);
    arguments.expect_none();
    const auto observer = std::make_shared<SnapshotObserver>(wanted);
    const auto client = observe(session, observer);
    if (!client) {
        return NO_ANSWER;
    }
    const auto begin = Clock::now();
    while (!session.stop.wait(LOOK_AGAIN)) {
        if (observer->reached()) {
            std::cout << name_of(wanted) << std::endl;
            return SUCCESS;
        }
        if (Clock::now() - begin < timeout) {
            continue;
        }
        if (!client->is_connected()) {
            complain(session.no_answer_within(timeout) + "; " + seen_last(*observer));
            return NO_ANSWER;
        }
        complain(name_of(wanted) + " has not come within " + std::to_string(timeout.count()) + " s; " +
                 seen_last(*observer));
        return TIME_OVER;
    }
    complain("interrupted; " + seen_last(*observer));
    return FAILURE;
}

} // namespace celldctl
