#include "at/script.hpp"

#include "at/at_request.hpp"

#include <algorithm>

namespace bench {
namespace {

bool gives_the_answer(Script::Kind kind)
{
    return kind == Script::Kind::FAIL || kind == Script::Kind::ANSWER || kind == Script::Kind::SILENCE;
}

bool same_sort(const Script::Entry& one, const Script::Entry& other)
{
    return one.kind == other.kind || (gives_the_answer(one.kind) && gives_the_answer(other.kind));
}

bool concerns(const Script::Entry& entry, std::string_view command)
{
    if (entry.prefix == "AT") {
        return command.empty();
    }
    return entry.prefix == "*" || starts_with_ignoring_case(command, entry.prefix);
}

} // namespace

void Script::put(Entry entry)
{
    std::erase_if(entries_, [&entry](const Entry& other) {
        return other.prefix == entry.prefix && same_sort(other, entry);
    });
    entries_.push_front(std::move(entry));
}

void Script::remove(const std::string& prefix)
{
    std::erase_if(entries_,
                  [&prefix](const Entry& entry) { return prefix.empty() || entry.prefix == prefix; });
}

std::vector<Script::Entry> Script::take(std::string_view command)
{
    std::vector<Entry> taken;
    for (auto& entry : entries_) {
        if (!concerns(entry, command) || ++entry.seen < entry.turn) {
            continue;
        }
        const bool hidden = std::any_of(taken.begin(), taken.end(),
                                        [&entry](const Entry& newer) { return same_sort(newer, entry); });
        if (!hidden) {
            taken.push_back(entry);
        }
    }
    std::erase_if(entries_, [](const Entry& entry) { return entry.once && entry.seen >= entry.turn; });
    return taken;
}

void Script::note(std::string command)
{
    if (journal_.size() >= JOURNAL_LENGTH) {
        journal_.pop_front();
    }
    journal_.push_back(std::move(command));
}

} // namespace bench
