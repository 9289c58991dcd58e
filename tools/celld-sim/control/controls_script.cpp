#include "base/files.hpp"
#include "control/control_table.hpp"

#include <array>

namespace bench {
namespace {

constexpr int MAX_MS = 3'600'000;
constexpr int MAX_SECONDS = 86'400;
constexpr int MAX_TURN = 1'000'000;
constexpr std::chrono::milliseconds DEFAULT_CUT{5}; ///< shorter than what a reader takes for a quiet line

using Entry = Script::Entry;

void read_text(Entry& entry, Words& words)
{
    entry.text = words.rest();
}

void read_nothing(Entry&, Words&) {}

void read_lateness(Entry& entry, Words& words)
{
    entry.pause = std::chrono::milliseconds(words.number(0, MAX_MS));
}

void read_cut(Entry& entry, Words& words)
{
    entry.pause = words.empty() ? DEFAULT_CUT : std::chrono::milliseconds(words.number(1, MAX_MS));
}

void read_crash(Entry& entry, Words& words)
{
    const auto moment = words.next();
    if (moment != "before" && moment != "after") {
        throw BenchError("crash PREFIX before|after [SECONDS|never]");
    }
    entry.crash.before = moment == "before";
    if (words.rest_is("never")) {
        entry.crash.returns = false;
    } else if (!words.empty()) {
        entry.crash.boot = std::chrono::seconds(words.number(0, MAX_SECONDS));
    }
}

/// What can be done to commands; the arguments stand behind the prefix.
struct ScriptRow {
    std::string_view name;
    Script::Kind kind;
    void (*read)(Entry&, Words&);
};

constexpr std::array SCRIPT_ROWS{
    ScriptRow{"fail", Script::Kind::FAIL, read_text},
    ScriptRow{"answer", Script::Kind::ANSWER, read_text},
    ScriptRow{"silent", Script::Kind::SILENCE, read_nothing},
    ScriptRow{"late", Script::Kind::LATE, read_lateness},
    ScriptRow{"lose", Script::Kind::LOST, read_nothing},
    ScriptRow{"crash", Script::Kind::CRASH, read_crash},
    ScriptRow{"cut", Script::Kind::CUT, read_cut},
    ScriptRow{"interrupt", Script::Kind::REPORT, read_text},
};

void put(Bench& bench, const std::string& name, Words& words, Entry entry)
{
    for (const auto& row : SCRIPT_ROWS) {
        if (row.name == name) {
            entry.kind = row.kind;
            entry.prefix = words.next();
            if (entry.prefix.empty()) {
                throw BenchError("the prefix of a command is missing");
            }
            row.read(entry, words);
            bench.module().interpreter().script().put(std::move(entry));
            return;
        }
    }
    throw BenchError("'" + name + "' is nothing that can be done to a command");
}

template <std::size_t ROW>
std::string control_script(Bench& bench, Words& words)
{
    put(bench, std::string(SCRIPT_ROWS[ROW].name), words, {});
    return "";
}

std::string control_once(Bench& bench, Words& words)
{
    const auto name = words.next();
    put(bench, name, words, {.prefix = {}, .once = true});
    return "";
}

std::string control_nth(Bench& bench, Words& words)
{
    const auto turn = static_cast<unsigned>(words.number(1, MAX_TURN));
    const auto name = words.next();
    put(bench, name, words, {.prefix = {}, .turn = turn, .once = true});
    return "";
}

std::string control_from(Bench& bench, Words& words)
{
    const auto turn = static_cast<unsigned>(words.number(1, MAX_TURN));
    const auto name = words.next();
    put(bench, name, words, {.prefix = {}, .turn = turn});
    return "";
}

std::string control_unfail(Bench& bench, Words& words)
{
    bench.module().interpreter().script().remove(words.next());
    return "";
}

constexpr std::array ROWS{
    ControlRow{"fail", control_script<0>, "PREFIX [TEXT]",
               "commands that begin so fail with \"+CME ERROR: TEXT\""},
    ControlRow{"answer", control_script<1>, "PREFIX TEXT",
               "commands that begin so answer TEXT; \\n parts its lines"},
    ControlRow{"silent", control_script<2>, "PREFIX", "commands that begin so get no answer"},
    ControlRow{"late", control_script<3>, "PREFIX MS", "they take MS longer; what comes meanwhile waits"},
    ControlRow{"lose", control_script<4>, "PREFIX", "they take effect, their final result is lost"},
    ControlRow{"crash", control_script<5>, "PREFIX before|after [SECONDS|never]",
               "the firmware crashes, before or after they take effect, and boots"},
    ControlRow{"cut", control_script<6>, "PREFIX [MS]",
               "their answers come byte by byte, MS (default 5) apart"},
    ControlRow{"interrupt", control_script<7>, "PREFIX TEXT", "TEXT comes in front of their final result"},
    ControlRow{"once", control_once, "COMMAND...", "one of the above, for the next such command only"},
    ControlRow{"nth", control_nth, "N COMMAND...", "the same, for the N-th only"},
    ControlRow{"from", control_from, "N COMMAND...", "the same, from the N-th on"},
    ControlRow{"unfail", control_unfail, "[PREFIX]", "end all this for the prefix, or for all"},
};

constexpr bool in_order()
{
    for (std::size_t index = 0; index < SCRIPT_ROWS.size(); ++index) {
        if (SCRIPT_ROWS[index].name != ROWS[index].name) {
            return false;
        }
    }
    return true;
}
static_assert(in_order(), "control_script<N> puts what SCRIPT_ROWS[N] says");

} // namespace

std::span<const ControlRow> script_controls()
{
    return ROWS;
}

} // namespace bench
