#include "picture.hpp"

#include "modem/state_table.hpp"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string_view>

namespace {

using S = ModemState;

constexpr double STEP = 78; // points from one state of the road to the next

struct Place {
    double x; ///< points right of the road
    double row;
};

/// Where a state stands that is not on the road: beside those that lead to it, so that no line crosses the
/// road.
Place place_beside(S state)
{
    switch (state) {
    case S::POWER_OFF:
        return {230, 0};
    case S::NO_MODEM_HARDWARE:
        return {230, 1};
    case S::AT_PORT_LOST:
        return {215, 3};
    case S::RESET:
        return {-270, 4.2};
    case S::DTC_HW_ERROR:
        return {330, 5.2};
    case S::SEARCHING:
        return {230, 7.5};
    case S::BACKOFF:
        return {-230, 8};
    case S::DISCONNECTED:
        return {230, 8.5};
    case S::OFF:
    case S::POWER_ON:
    case S::WAITING_FOR_ATPORT:
    case S::UNINITIALIZED:
    case S::WAITING_FOR_SIM:
    case S::INITIALIZED:
    case S::CONFIGURED:
    case S::REGISTERING:
    case S::REGISTERED:
    case S::ACTIVATE_CONTEXT:
    case S::CONNECTED:
        break;
    }
    return {-230, 10};
}

Place place_of(S state)
{
    double row = 0;
    for (std::optional<S> at = S::OFF; at; at = row_of(*at).usual_next, ++row) {
        if (*at == state) {
            return {0, row};
        }
    }
    return place_beside(state);
}

bool is_free(const StateRow& row)
{
    return row.may_go_to.empty();
}

/// Whether a row names it, or all lead to it; where neither, those without a rule lead to it.
bool is_named(S state)
{
    return state == S::OFF || state == S::POWER_OFF ||
           std::any_of(state_table().begin(), state_table().end(), [state](const StateRow& row) {
               const auto named = row.may_go_to;
               return row.usual_next == state || std::find(named.begin(), named.end(), state) != named.end();
           });
}

void write_state(std::ostream& out, const StateRow& row)
{
    const auto [x, line] = place_of(row.state);
    out << "  " << short_name(row.state) << " [label=\"" << short_name(row.state);
    if (row.published) {
        out << "\\nbus: " << ecu::kova::pb::ModemStatus_ModemState_Name(*row.published);
    }
    out << "\", pos=\"" << x << ',' << -line * STEP << "\", class=\"" << (x == 0 ? "road" : "aside")
        << (row.state == S::CONNECTED ? " goal" : "") << (is_free(row) ? " free" : "") << "\"]\n";
}

const char* class_of_move(S to)
{
    return to == S::RESET          ? "reset"
           : to == S::AT_PORT_LOST ? "lost"
           : to == S::DTC_HW_ERROR ? "error"
                                   : "aside";
}

void write_move(std::ostream& out, S from, S to, const char* manner)
{
    out << "  " << short_name(from) << " -> " << short_name(to) << " [class=\"" << manner << "\"]\n";
}

void write_moves(std::ostream& out, const StateRow& row)
{
    if (row.usual_next) {
        write_move(out, row.state, *row.usual_next, "road");
    }
    for (const S to : row.may_go_to) {
        if (to != row.usual_next) {
            write_move(out, row.state, to, class_of_move(to));
        }
    }
    for (const auto& other : state_table()) {
        if (is_free(row) && row.traits.network && !is_named(other.state)) {
            write_move(out, row.state, other.state, "aside free");
        }
    }
}

/// What the picture leaves out.
void write_legend(std::ostream& out)
{
    out << "  legend [shape=plain, class=legend, pos=\"270," << -9.75 * STEP
        << "\", label=\"thick: the road to a connection\\l"
           "dashed: no rule, the run loop moves freely\\l"
           "not drawn: each state may go to OFF and POWER_OFF\\l\"]\n";
}

} // namespace

std::string short_name(S state)
{
    constexpr std::string_view PREFIX = "Modem::State::";
    return state_text(state).substr(PREFIX.size());
}

std::string states_graph()
{
    std::ostringstream out;
    out << "digraph states {\n"
           "  graph [bgcolor=transparent, splines=true]\n"
           "  node [shape=box, style=rounded, fontname=\"Helvetica,Arial,sans-serif\", fontsize=12, "
           "width=1.4]\n"
           "  edge [arrowsize=0.7]\n";
    for (const auto& row : state_table()) {
        write_state(out, row);
    }
    write_legend(out);
    for (const auto& row : state_table()) {
        write_moves(out, row);
    }
    out << "}\n";
    return out.str();
}
