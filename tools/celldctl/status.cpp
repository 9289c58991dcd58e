#include "history_model.hpp"
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

/// What the journal has counted, where the unit is this one and has one.
std::string counts_line(bool is_local)
{
    const auto contents = is_local ? journal::read() : journal::Contents();
    return contents.records.empty() ? "" : "  Journal: " + counts_text(history_of(contents).counts);
}

int show(Session& session, const Settings& settings)
{
    BusLink link(session.broker);
    link.wait_until_connected(session.signals, patience(settings.timeout, TIMEOUT));
    const auto snapshot = snapshot_of(session, link, settings.timeout.value_or(TIMEOUT));
    const auto facts = facts_of(snapshot, now_of(link.is_local()));
    session.output.write(settings.json ? status_json(facts, snapshot)
                                       : status_text(facts, snapshot) + counts_line(link.is_local()));
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
