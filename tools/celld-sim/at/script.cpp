#include "at/script.hpp"

#include "at/at_request.hpp"

#include <algorithm>

namespace bench {

void Script::put(Entry entry)
{
    std::erase_if(entries_, [&entry](const Entry& other) { return other.prefix == entry.prefix; });
    entries_.push_front(std::move(entry));
}

void Script::remove(const std::string& prefix)
{
    std::erase_if(entries_,
                  [&prefix](const Entry& entry) { return prefix.empty() || entry.prefix == prefix; });
}

const Script::Entry* Script::find(std::string_view command) const
{
    const auto found = std::find_if(entries_.begin(), entries_.end(), [command](const Entry& entry) {
        return starts_with_ignoring_case(command, entry.prefix);
    });
    return found == entries_.end() ? nullptr : &*found;
}

void Script::note(std::string command)
{
    if (journal_.size() >= JOURNAL_LENGTH) {
        journal_.pop_front();
    }
    journal_.push_back(std::move(command));
}

} // namespace bench
