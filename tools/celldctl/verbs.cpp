#include "verbs.hpp"

#include <array>

namespace celldctl {

namespace {

constexpr std::array VERBS{
    Verb{"status", "Show what the modem is, from what the bus retains.", &status},
    Verb{"watch", "Show the same live: signal, states, changes; on a pipe a line each.", &watch},
    Verb{"wait-for", "End once the modem's state is the one wanted.", &wait_for},
    Verb{"monitor", "Show what is said on the bus, decoded, a line each.", &monitor},
    Verb{"doctor", "Look at files, rights, port, board and bus, and say what is wrong.", &doctor},
    Verb{"history", "Show the last connections, losses and resets of this unit.", &history, Scope::FILES},
    Verb{"at", "Show a recording of the AT dialogue, each answer beside its command.", &at, Scope::FILES},
    Verb{"report", "Draw recording, journal and bus log as one page for a browser.", &report, Scope::FILES},
    Verb{"fleet", "Show all units of a fleet in one table, live; on a pipe a line each change.", &fleet,
         Scope::FLEET},
    Verb{"exporter", "Offer the same as metrics for Prometheus.", &exporter, Scope::FLEET},
    Verb{"backend", "Stand in for the backend service: publish its status.", &backend},
    Verb{"blackout", "Switch the unit's radio silence on or off.", &blackout},
};

} // namespace

std::span<const Verb> verbs()
{
    return VERBS;
}

} // namespace celldctl
