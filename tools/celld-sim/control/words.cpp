#include "control/words.hpp"

#include "base/files.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

namespace bench {

std::string Words::next()
{
    const auto end = std::min(text_.find(' '), text_.size());
    std::string word(text_.substr(0, end));
    text_.remove_prefix(end);
    skip_blanks();
    return word;
}

int Words::number(int low, int high)
{
    const auto word = next();
    int value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size() || value < low || value > high) {
        throw BenchError("'" + word + "' is not a number from " + std::to_string(low) + " to " +
                         std::to_string(high));
    }
    return value;
}

bool Words::on_or_off()
{
    const auto word = next();
    if (word != "on" && word != "off") {
        throw BenchError("'" + word + "' is neither on nor off");
    }
    return word == "on";
}

Slot Words::slot()
{
    const auto word = next();
    if (word == "internal") {
        return Slot::INTERNAL;
    }
    if (word == "external") {
        return Slot::EXTERNAL;
    }
    throw BenchError("'" + word + "' is neither internal nor external");
}

std::string Words::rest()
{
    return std::string(std::exchange(text_, {}));
}

void Words::skip_blanks()
{
    text_.remove_prefix(std::min(text_.find_first_not_of(' '), text_.size()));
}

} // namespace bench
