#include "base/files.hpp"
#include "scenario/scenario.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

namespace bench {
namespace {

constexpr std::string_view ARROW = "->";
constexpr double MAX_SECONDS = 31.0 * 86'400.0; ///< a month: longer than any run of a bench
constexpr unsigned MAX_TURN = 1'000'000;
constexpr std::string_view TRIGGERS =
    "a trigger is 'at SECONDS', 'on [N] EVENT', 'each [N] EVENT', or one of these behind 'then', and "
    "'then +SECONDS'";

[[noreturn]] void wrong(const std::string& what, std::string_view right)
{
    throw BenchError(what + "; " + std::string(right));
}

/// The words of a trigger, taken one by one.
class Trigger {
public:
    explicit Trigger(std::string_view text)
    {
        std::istringstream all{std::string(text)};
        for (std::string word; all >> word;) {
            words_.push_back(word);
        }
    }

    bool empty() const { return at_ == words_.size(); }
    std::string peek() const { return empty() ? "" : words_[at_]; }
    std::string next() { return empty() ? "" : words_[at_++]; }

    /// "+SECONDS" at the end, with the text in front of it left.
    std::optional<std::string> take_delay()
    {
        if (empty() || words_.back().size() < 2 || words_.back().front() != '+' ||
            std::isdigit(static_cast<unsigned char>(words_.back()[1])) == 0) {
            return std::nullopt;
        }
        auto delay = words_.back().substr(1);
        words_.pop_back();
        return delay;
    }

    std::string rest()
    {
        std::string text;
        while (!empty()) {
            text += (text.empty() ? "" : " ") + next();
        }
        return text;
    }

private:
    std::vector<std::string> words_;
    std::size_t at_ = 0;
};

std::chrono::milliseconds seconds(const std::string& text)
{
    double value = -1;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    const bool number = error == std::errc() && end == text.data() + text.size();
    if (!number || !(value >= 0 && value <= MAX_SECONDS)) {
        wrong("'" + text + "' are no seconds", "they are a number from 0 to a month, such as 2 or 0.5");
    }
    return std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(value));
}

unsigned turn(const std::string& text)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 1 || value > MAX_TURN) {
        wrong("'" + text + "' is no count", "it is a number from 1 to " + std::to_string(MAX_TURN));
    }
    return value;
}

EventPattern event(Trigger& trigger)
{
    const auto name = trigger.next();
    const auto* kind = find_event_kind(name);
    if (kind == nullptr) {
        std::string names;
        for (const auto& known : event_kinds()) {
            names.append(names.empty() ? "" : ", ").append(known.name);
        }
        wrong("unknown event '" + name + "'", "an event is one of " + names);
    }
    EventPattern pattern{.kind = kind, .argument = trigger.rest()};
    if (!kind->possible(pattern.argument)) {
        wrong("no event '" + name + " " + pattern.argument + "'",
              "it is '" + name + " " + std::string(kind->arguments) + "'");
    }
    return pattern;
}

void read_event(ScenarioLine& line, Trigger& trigger)
{
    line.each = trigger.next() == "each";
    const auto count = trigger.peek();
    if (!count.empty() && std::isdigit(static_cast<unsigned char>(count.front())) != 0) {
        line.turn = turn(trigger.next());
    }
    if (const auto delay = trigger.take_delay()) {
        line.delay = seconds(*delay);
    }
    line.event = event(trigger);
}

void read_trigger(ScenarioLine& line, Trigger trigger)
{
    line.then = trigger.peek() == "then";
    if (line.then) {
        trigger.next();
    }
    if (trigger.peek() == "on" || trigger.peek() == "each") {
        read_event(line, trigger);
    } else if (!line.then && trigger.peek() == "at") {
        trigger.next();
        line.delay = seconds(trigger.next());
    } else if (line.then) {
        line.delay = seconds(trigger.take_delay().value_or("0"));
    }
    if (!trigger.empty()) {
        wrong("unexpected '" + trigger.peek() + "'", TRIGGERS);
    }
}

std::string trimmed(std::string_view text)
{
    const auto begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos
               ? ""
               : std::string(text.substr(begin, text.find_last_not_of(' ') - begin + 1));
}

} // namespace

std::optional<ScenarioLine> parse_scenario_line(std::string_view text, const CommandCheck& check)
{
    auto plain = std::string(text);
    std::replace(plain.begin(), plain.end(), '\t', ' ');
    plain = trimmed(plain);
    if (plain.empty() || plain.front() == '#') {
        return std::nullopt;
    }
    const auto arrow = (plain + " ").find(" " + std::string(ARROW) + " ");
    if (arrow == std::string::npos) {
        wrong("no ' -> '", "a line is 'TRIGGER -> COMMAND'");
    }
    ScenarioLine line;
    read_trigger(line, Trigger(std::string_view(plain).substr(0, arrow)));
    line.command = trimmed(plain.substr(std::min(arrow + 1 + ARROW.size(), plain.size())));
    if (const auto error = check(line.command)) {
        throw BenchError(*error);
    }
    return line;
}

} // namespace bench
