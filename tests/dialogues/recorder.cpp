#include "dialogues/recorder.hpp"

#include "describe.hpp"

#include <ecu/kova/com/in_process_bus.hpp>

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <sstream>

namespace {

using namespace std::chrono_literals;

constexpr const char* STATUS_TOPIC = "system/modem/status";
constexpr std::size_t LONGEST_PERIOD = 80; // passes
constexpr std::size_t WIDTH = 110;         // of a line that several commands share
constexpr const char* OUTPUTS[] = {"3",   "144", "145",
                                   "162", "157", "156"}; // supply, PWRON, reset of qbx and k7

std::string seconds(Clock::time_point::duration time)
{
    std::ostringstream out;
    out << std::fixed << std::setprecision(3) << std::chrono::duration<double>(time).count();
    auto text = out.str();
    text.erase(std::max(text.find_last_not_of('0'), text.find('.') + 1) + 1); // one decimal at least
    return text;
}

std::vector<std::string> split(const std::string& line)
{
    std::istringstream text(line);
    return {std::istream_iterator<std::string>(text), {}};
}

/// What `now` says that `before` did not, word for word; "..." for the rest.
std::string news(const std::string& before, const std::string& now)
{
    auto old = split(before);
    std::string text;
    bool all = true;
    for (const auto& word : split(now)) {
        const auto same = std::find(old.begin(), old.end(), word);
        if (same == old.end()) {
            text += " " + word;
        } else {
            old.erase(same);
            all = false;
        }
    }
    for (const auto& word : old) {
        const auto key = word.substr(0, word.find('=') + 1);
        text += key.empty() || (text + " ").find(" " + key) != std::string::npos ? "" : " -" + key;
    }
    return all ? text : text + " ...";
}

bool shares_a_line(const std::string& last, const std::string& line)
{
    const auto is_command = [](const std::string& one) { return one.find(" AT") != std::string::npos; };
    const auto time = [](const std::string& one) { return one.substr(0, one.find(' ')); };
    return is_command(last) && is_command(line) && time(last) == time(line) &&
           last.size() + line.size() < WIDTH;
}

} // namespace

Recorder::Recorder(const ManualClock& clock, LogCapture& log, const TempRoot& root)
    : clock_(clock), log_(log), root_(root),
      client_(ecu::kova::com::create_client({}, ecu::kova::com::TransportType::IN_PROCESS))
{
    client_->subscribe("#", bus_);
    add_levels();
    pass_.clear();
}

void Recorder::begin_pass()
{
    pass_begin_ = clock_.now();
}

void Recorder::command(const AtCommand& command)
{
    look();
    std::string line = "AT" + command.command;
    if (command.timeout != AtCommand::DEFAULT_TIMEOUT) {
        line += " (" + std::to_string(command.timeout.count()) + " s)";
    }
    add(command.interruptible ? line : line + " (whatever comes)");
}

void Recorder::look()
{
    add_records();
    add_levels();
}

void Recorder::end_pass()
{
    look();
    add_messages();
    if (!pass_.empty()) {
        passes_.push_back({pass_begin_, std::move(pass_)});
    }
    pass_.clear();
}

std::string Recorder::take()
{
    std::string text;
    for (std::size_t first = 0; first < passes_.size();) {
        std::size_t period = 1;
        std::size_t rounds = 0;
        for (std::size_t p = 1; p <= LONGEST_PERIOD; ++p) {
            const auto r = repetitions(first, p);
            if (r >= (p == 1 ? 1 : 2) && r * p > rounds * period) {
                period = p;
                rounds = r;
            }
        }
        for (std::size_t i = first; i < first + period; ++i) {
            text += text_of(passes_[i]);
        }
        first += period;
        if (rounds > 0) {
            first += rounds * period;
            text += "          ... " + (period == 1 ? "the same" : "these " + std::to_string(period)) + " " +
                    std::to_string(rounds) + " times more, the last at " +
                    seconds(passes_[first - 1].begin - beginning_) + "\n";
        }
    }
    passes_.clear();
    return text;
}

std::string Recorder::take_counts()
{
    std::map<std::string, std::size_t> counts;
    for (const auto& pass : passes_) {
        for (const auto& line : pass.lines) {
            ++counts[line.substr(line.find(' ') + 1)];
        }
    }
    passes_.clear();
    std::string text;
    for (const auto& [line, count] : counts) {
        const auto number = std::to_string(count);
        text += std::string(8 - std::min<std::size_t>(8, number.size()), ' ') + number + " x " + line + "\n";
    }
    return text;
}

/// How often the passes from `first` on are followed by the same, at the same distances.
std::size_t Recorder::repetitions(std::size_t first, std::size_t period) const
{
    std::size_t same = 0;
    for (std::size_t i = first; i + period < passes_.size(); ++i, ++same) {
        const auto& one = passes_[i];
        const auto& next = passes_[i + period];
        if (one.lines != next.lines ||
            next.begin - one.begin != passes_[first + period].begin - passes_[first].begin) {
            break;
        }
    }
    return same / period;
}

std::string Recorder::text_of(const Pass& pass) const
{
    const auto begin = seconds(pass.begin - beginning_);
    std::string text;
    std::string margin = std::string(8 - std::min<std::size_t>(8, begin.size()), ' ') + begin;
    for (const auto& line : pass.lines) {
        text += margin + "  " + line + "\n";
        margin = std::string(8, ' ');
    }
    return text;
}

void Recorder::add(const std::string& line)
{
    const auto late = clock_.now() - pass_begin_;
    const auto full = (late > 0ms ? "+" + seconds(late) : "") + " " + line;
    if (!pass_.empty() && shares_a_line(pass_.back(), full)) {
        pass_.back() += "  " + line;
    } else {
        pass_.push_back(full);
    }
}

void Recorder::add_records()
{
    for (const auto& record : log_.take()) {
        if (record.level <= LogCapture::Level::NOTICE) {
            add(std::string(ecu::kova::logging::to_str(record.level)) + " " + record.text);
        }
    }
}

void Recorder::add_levels()
{
    for (const std::string pin : OUTPUTS) {
        const auto level = root_.read("/sys/class/gpio/gpio" + pin + "/value").substr(0, 1);
        if (!level.empty() && level != levels_[pin]) {
            add("gpio" + pin + " = " + level);
            levels_[pin] = level;
        }
    }
}

void Recorder::add_messages()
{
    ecu::kova::com::in_process::settle(5s);
    for (const auto& [topic, message] : bus_->take()) {
        const auto text = celldctl::describe(topic, message).text;
        const bool kept = ecu::kova::com::in_process::retained(topic).has_value();
        add(topic + (kept ? " (retained):" : ":") + news(last_[topic], text));
        last_[topic] = text;
    }
    if (const auto will = ecu::kova::com::in_process::last_will(STATUS_TOPIC)) {
        const auto text = celldctl::describe(STATUS_TOPIC, *will).text;
        if (std::exchange(will_, text) != text) {
            add("last will " + std::string(STATUS_TOPIC) + ": " + text);
        }
    }
}
