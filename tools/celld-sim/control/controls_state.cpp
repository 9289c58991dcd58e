#include "control/control_table.hpp"

#include <array>

namespace bench {
namespace {

std::string control_state(Bench& bench, Words&)
{
    auto& module = bench.module();
    const auto stat = [&module](Network::Domain domain) {
        return std::to_string(static_cast<int>(module.network().stat(domain)));
    };
    std::string contexts;
    for (const auto& [cid, context] : module.session().contexts) {
        contexts += (contexts.empty() ? "" : ",") + std::to_string(cid) + ":" + (context.active ? "1" : "0");
    }
    return bench.state() + " family=" + (module.family() == Family::SARA ? "sara" : "toby") +
           " sim=" + (module.sims().selected() == Slot::INTERNAL ? "internal" : "external") +
           " sim_ready=" + (module.sims().ready() ? "1" : "0") +
           " pin_attempts=" + std::to_string(module.sims().current().pin_attempts()) +
           " cfun=" + std::to_string(module.session().cfun) +
           " cops=" + std::to_string(module.session().cops_mode) + " creg=" + stat(Network::Domain::CS) +
           " cgreg=" + stat(Network::Domain::PS) + " cereg=" + stat(Network::Domain::EPS) +
           " rat=" + std::to_string(module.network().surroundings().act) +
           " contexts=" + (contexts.empty() ? "none" : contexts) +
           " silent=" + (module.interpreter().silent() ? "1" : "0");
}

std::string control_journal(Bench& bench, Words& words)
{
    auto& script = bench.module().interpreter().script();
    if (words.next() == "clear") {
        script.clear_journal();
        return "";
    }
    std::string text = std::to_string(script.journal().size());
    for (const auto& command : script.journal()) {
        text.append("\n").append(command);
    }
    return text;
}

std::string control_note(Bench& bench, Words& words)
{
    bench.note(words.rest());
    return "";
}

constexpr std::array ROWS{
    ControlRow{"state", control_state, "", "one line of key=value"},
    ControlRow{"journal", control_journal, "[clear]", "\"ok COUNT\" and the commands received, newest last"},
    ControlRow{"note", control_note, "TEXT", "write it into the transcript"},
};

} // namespace

std::span<const ControlRow> state_controls()
{
    return ROWS;
}

} // namespace bench
