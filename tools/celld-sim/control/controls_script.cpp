#include "base/files.hpp"
#include "control/control_table.hpp"

#include <array>

namespace bench {
namespace {

std::string put_script(Bench& bench, Words& words, Script::Kind kind)
{
    const auto prefix = words.next();
    if (prefix.empty()) {
        throw BenchError("the prefix of a command is missing");
    }
    bench.module().interpreter().script().put({kind, prefix, words.rest()});
    return "";
}

std::string control_fail(Bench& bench, Words& words)
{
    return put_script(bench, words, Script::Kind::FAIL);
}

std::string control_answer(Bench& bench, Words& words)
{
    return put_script(bench, words, Script::Kind::ANSWER);
}

std::string control_silent(Bench& bench, Words& words)
{
    return put_script(bench, words, Script::Kind::SILENCE);
}

std::string control_unfail(Bench& bench, Words& words)
{
    bench.module().interpreter().script().remove(words.next());
    return "";
}

constexpr std::array ROWS{
    ControlRow{"fail", control_fail, "PREFIX [TEXT]",
               "commands that begin so fail with \"+CME ERROR: TEXT\""},
    ControlRow{"answer", control_answer, "PREFIX TEXT",
               "commands that begin so answer TEXT; \\n parts its lines"},
    ControlRow{"silent", control_silent, "PREFIX", "commands that begin so get no answer"},
    ControlRow{"unfail", control_unfail, "[PREFIX]", "end what fail, answer and silent began"},
};

} // namespace

std::span<const ControlRow> script_controls()
{
    return ROWS;
}

} // namespace bench
