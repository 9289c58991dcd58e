#include "doctor/bus_check.hpp"

#include "bus_link.hpp"
#include "doctor/checks.hpp"
#include "freshness.hpp"
#include "snapshot_observer.hpp"

namespace celldctl {

namespace {

std::string next_step(const Failure& failure)
{
    switch (failure.status()) {
    case REFUSED:
        return "mend bus.username and bus.password, or the broker's list of users";
    case NO_CONNECTION:
        return "start the broker, or mend host, port and the certificates";
    default:
        return "see celld.conf above";
    }
}

void check_status(const Snapshot& snapshot, const ModemFacts& facts, Findings& findings)
{
    const auto status_age = facts.ages_s.empty() ? std::nullopt : facts.ages_s.front().second;
    const std::string old =
        status_age ? ", " + duration_text(std::chrono::seconds(*status_age)) + " old" : std::string();
    if (snapshot.status.presence == Presence::MISSING) {
        findings.error("no status: celld has not reached this broker",
                       "look at celld's log: journalctl -u celld");
    } else if (facts.bridge_up == false) {
        findings.error("the unit's bridge is down" + old,
                       "look whether the unit runs and has a link, and at its broker's log");
    } else if (facts.daemon_gone) {
        findings.error("the status is celld's last will: it has ended without a farewell",
                       "look at celld's log: journalctl -u celld");
    } else if (facts.stale) {
        findings.error("the status (" + facts.state.value_or("no state") + old +
                           ") is of a celld that is silent",
                       "look whether celld runs, and whether it has another broker");
    } else if (snapshot.status.presence == Presence::PRESENT && facts.connected) {
        findings.ok("the modem is CONNECTED" + old);
    } else if (snapshot.status.presence == Presence::PRESENT) {
        findings.warning("the modem is " + facts.state.value_or("in no state") + old,
                         "celldctl watch shows how it goes on");
    }
}

void check_backend(const Snapshot& snapshot, const ModemFacts& facts, Findings& findings)
{
    constexpr auto NEXT = "start the backend service; celldctl backend connected stands in for it";
    if (snapshot.backend.presence == Presence::MISSING) {
        findings.warning("no status of the backend: the module will be reset for want of it", NEXT);
    } else if (snapshot.backend.presence == Presence::PRESENT && facts.backend != "BACKEND_CONNECTED") {
        findings.warning("the backend is not connected: the module will be reset for want of it", NEXT);
    } else if (snapshot.backend.presence == Presence::PRESENT) {
        findings.ok("the backend is connected");
    }
}

} // namespace

void check_retained(const Snapshot& snapshot, const ModemFacts& facts, Findings& findings)
{
    check_status(snapshot, facts, findings);
    const auto unreadable = snapshot.names(Presence::UNREADABLE);
    if (!unreadable.empty()) {
        findings.error("does not decode: " + unreadable,
                       "another program publishes there; celldctl monitor shows "
                       "the bytes");
    }
    if (snapshot.hardware.presence == Presence::MISSING || snapshot.sim.presence == Presence::MISSING) {
        findings.warning("the module or its SIM has not been read yet",
                         "celldctl watch shows how it goes on");
    }
    const bool comes_this_way = !facts.bridge_up || snapshot.backend.presence != Presence::MISSING;
    if (comes_this_way) { // bridges carry what celld says, and no more
        check_backend(snapshot, facts, findings);
    }
}

void check_bus(Session& session, std::chrono::seconds timeout, Findings& findings)
{
    try {
        BusLink link(session.broker);
        link.wait_until_connected(session.signals, {timeout, false});
        findings.ok("connected to " + link.broker());
        const auto snapshot = snapshot_of(session, link, timeout);
        check_retained(snapshot, facts_of(snapshot, now_of(link.is_local())), findings);
    } catch (const Failure& failure) {
        if (failure.status() > BY_SIGNAL) {
            throw;
        }
        const std::string what = failure.what();
        findings.error(what.empty() ? "the configuration cannot be used" : what, next_step(failure));
    }
}

} // namespace celldctl
