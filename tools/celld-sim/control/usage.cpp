#include "control/usage.hpp"

#include "control/words.hpp"

#include <algorithm>
#include <array>
#include <cctype>

namespace bench {
namespace {

using CommandCheck = std::function<std::optional<std::string>(std::string_view)>;

constexpr std::array<std::string_view, 5> NUMBERS{"MODE", "MS", "N", "OHM", "SECONDS"};
constexpr std::array<std::string_view, 3> TEXTS{"DIGITS", "NAME", "TEXT"};
constexpr std::string_view COMMAND = "COMMAND...";

template <std::size_t SIZE>
bool contains(const std::array<std::string_view, SIZE>& words, std::string_view word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool is_number(std::string_view word)
{
    const auto digits = word.substr(word.starts_with('-') ? 1 : 0);
    return !digits.empty() &&
           std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// One of the alternatives of an item.
bool fits_choice(std::string_view choice, std::string_view word)
{
    if (contains(NUMBERS, choice)) {
        return is_number(word);
    }
    const bool stands_for_something = std::isupper(static_cast<unsigned char>(choice.front())) != 0;
    return stands_for_something ? !word.empty() : choice == word;
}

bool fits_word(std::string_view item, std::string_view word)
{
    for (;;) {
        const auto bar = std::min(item.find('|'), item.size());
        if (fits_choice(item.substr(0, bar), word)) {
            return true;
        }
        if (bar == item.size()) {
            return false;
        }
        item.remove_prefix(bar + 1);
    }
}

bool fits_alternative(std::string_view usage, std::string_view arguments, const CommandCheck& command)
{
    Words items(usage);
    Words words(arguments);
    while (!items.empty()) {
        std::string item = items.next();
        if (item.starts_with('[')) {
            if (words.empty()) {
                return true;
            }
            item = item.substr(1, item.size() - 2);
        }
        if (item == COMMAND) {
            return !command(words.rest());
        }
        if (contains(TEXTS, item)) {
            return !words.empty();
        }
        if (!fits_word(item, words.next())) {
            return false;
        }
    }
    return words.empty();
}

} // namespace

bool fits_usage(std::string_view usage, std::string_view arguments, const CommandCheck& command)
{
    constexpr std::string_view OR = " / ";
    for (;;) {
        const auto end = std::min(usage.find(OR), usage.size());
        if (fits_alternative(usage.substr(0, end), arguments, command)) {
            return true;
        }
        if (end == usage.size()) {
            return false;
        }
        usage.remove_prefix(end + OR.size());
    }
}

} // namespace bench
