#include "snapshot_observer.hpp"
#include "status_views.hpp"
#include "verbs.hpp"

#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;

constexpr auto TIMEOUT = 5s;

struct Settings {
    bool json = false;
    std::optional<std::chrono::seconds> timeout;
};

int answer(const ModemFacts& facts, const Snapshot& snapshot)
{
    const auto unreadable = snapshot.names(Presence::UNREADABLE);
    if (!unreadable.empty()) {
        throw Failure(UNREADABLE, "what the bus retains does not decode: " + unreadable);
    }
    return facts.connected ? SUCCESS : NO;
}

/// Of this unit, where the bus is this unit's.
JournalCounts counts_of_journal(bool is_local)
{
    if (!is_local) {
        return {std::nullopt, "the broker is not on this host, where the journal would be read"};
    }
    const auto contents = journal::read();
    if (!contents.records.empty()) {
        return {history_of(contents).counts, ""};
    }
    return {std::nullopt, contents.wrong.value_or("nothing is recorded yet")};
}

int show(Session& session, const Settings& settings)
{
    BusLink link(session.broker);
    link.wait_until_connected(session.signals, patience(settings.timeout, TIMEOUT));
    const auto snapshot = snapshot_of(session, link, settings.timeout.value_or(TIMEOUT));
    const auto facts = facts_of(snapshot, now_of(link.is_local()));
    const auto journal = counts_of_journal(link.is_local());
    session.output.write(settings.json ? status_json(facts, snapshot, journal)
                                       : status_text(facts, snapshot) + journal_text(journal));
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
