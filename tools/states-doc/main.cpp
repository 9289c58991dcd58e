#include "modem/attach_phase.hpp"
#include "modem/barred_phase.hpp"
#include "modem/boot_phase.hpp"
#include "modem/modem_limits.hpp"
#include "modem/state_table.hpp"
#include "picture.hpp"
#include "utils/strings.hpp"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace {

using S = ModemState;

/// The names that stand in braces in the rows, and the limits they stand for.
std::string with_limits(std::string text)
{
    const ModemLimits limits;
    const std::pair<const char*, std::uint32_t> names[] = {
        {"{port_wait}", BootPhase::PORT_WAIT},
        {"{port_failures}", limits.max_modem_resets_before_dtc},
        {"{max_resets}", limits.max_modem_reset},
        {"{reattach}", limits.nw_search_reattach_timer},
        {"{search_reset}", limits.nw_search_modem_reset_timer},
        {"{activation_tries}", AttachPhase::ACTIVATION_TRIES},
        {"{context_wait}", AttachPhase::CONTEXT_WAIT},
        {"{backoff_query}", BarredPhase::QUERY_INTERVAL_S},
    };
    for (const auto& [name, limit] : names) {
        utils::replace(text, name, std::to_string(limit));
    }
    return text;
}

std::string successors(S from)
{
    std::string text;
    for (const S to : row_of(from).may_go_to) {
        text += text.empty() ? "" : ", ";
        text += short_name(to);
    }
    return text.empty() ? "any" : text;
}

std::string usual_road()
{
    std::string text = "`" + short_name(S::OFF) + "`";
    for (auto next = row_of(S::OFF).usual_next; next; next = row_of(*next).usual_next) {
        text += ", `" + short_name(*next) + "`";
    }
    return text;
}

std::string document()
{
    std::ostringstream out;
    out << "# The modem's states\n\n"
           "<!-- Printed by `states-doc > docs/states.md`; a test compares. Change the program, not this "
           "text. "
           "-->\n\n"
           "The usual road is "
        << usual_road()
        << ".\nTimes are those of the default configuration.\n\n"
           "| value | state | what happens in it | may go to, besides `OFF` and `POWER_OFF` |\n"
           "|---:|---|---|---|\n";
    for (const auto& row : state_table()) {
        out << "| " << static_cast<int>(row.state) << " | `" << short_name(row.state) << "` | "
            << with_limits(row.what_happens) << " | " << successors(row.state) << " |\n";
    }
    out << "\n![the states and what leads from one to another](images/states.svg)\n\n"
           "Every state may go to `OFF` and `POWER_OFF`. A state with \"any\" has no rule of its own: the "
           "steps of the run loop alone\ndecide. A transition that is not allowed is refused with a WARNING "
           "on `celld.modem.state`, and the state stays.\n";
    return out.str();
}

/// Whether the file says what this program would print.
bool is_current(const char* path)
{
    std::ifstream file(path);
    if (!file) {
        std::cerr << "states-doc: cannot read " << path << '\n';
        return false;
    }
    std::ostringstream found;
    found << file.rdbuf();
    if (found.str() == document()) {
        return true;
    }
    std::cerr << "states-doc: " << path << " is not what the daemon does; run states-doc > " << path << '\n';
    return false;
}

int run(int argc, char** argv)
{
    if (argc == 1) {
        std::cout << document() << std::flush;
        return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (argc == 3 && std::string_view(argv[1]) == "--check") {
        return is_current(argv[2]) ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (argc == 2 && std::string_view(argv[1]) == "--dot") {
        std::cout << states_graph() << std::flush;
        return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    std::cerr << "usage: states-doc [--check FILE | --dot]\n";
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "states-doc: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
