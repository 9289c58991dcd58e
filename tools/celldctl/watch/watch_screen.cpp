#include "watch/watch_screen.hpp"

#include "freshness.hpp"

#include <algorithm>

namespace celldctl {

namespace {

constexpr std::size_t LABEL_WIDTH = 10;
constexpr std::size_t STATE_WIDTH = 14;
constexpr std::size_t KIND_WIDTH = 13;
constexpr std::size_t TIME_WIDTH = 8;        // without the milliseconds
constexpr std::size_t MOST_STATES_SHOWN = 6; // of a screen that has room for all
constexpr auto NOT_KNOWN = "--";

bool begins_a_character(char byte) // of UTF-8
{
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
}

std::string shown(const std::optional<std::string>& text)
{
    return text ? printable(*text) : NOT_KNOWN;
}

std::string numbered(const char* name, const std::optional<std::int64_t>& number)
{
    return number ? std::string(name) + " " + std::to_string(*number) + " " : std::string();
}

/// The line of a change, shorter than `monitor` has it: a screen is narrow.
std::string change_text(const Event& event)
{
    const auto* const what = is_of_connection(event) ? "connection" : word(event.what.kind);
    return time_text(event.when, false).substr(0, TIME_WIDTH) + "Z  " + padded(what, KIND_WIDTH) +
           event.what.text;
}

std::string since(WatchModel::Time begin, WatchModel::Time end)
{
    using std::chrono::seconds;
    return duration_text(std::max(seconds(0), std::chrono::floor<seconds>(end - begin)));
}

class Screen {
public:
    Screen(const WatchModel& model, WatchModel::Time now, const ScreenSize& size)
        : model_(model), facts_(model.facts()), now_(now), size_(size)
    {
    }

    void head(const std::string& broker)
    {
        add("celldctl watch  " + broker + "  " + time_text(now_, false).substr(0, TIME_WIDTH) + "Z",
            Style::TITLE);
        if (!model_.connection_trouble().empty()) {
            add("connection " + model_.connection_trouble(), Style::BAD);
        } else if (facts_.daemon_gone || facts_.stale) {
            add(std::string(facts_.daemon_gone          ? "The daemon is gone"
                            : facts_.bridge_up == false ? "The unit's bridge is down"
                                                        : "The daemon is silent") +
                    "; this is what it said last.",
                Style::BAD);
        }
        state();
    }

    void present(bool utf8)
    {
        row("backend", shown(facts_.backend) + "   last reset " + shown(facts_.reset_reason));
        row("network", shown(facts_.registration) + " " + shown(facts_.packet_service) + " " +
                           shown(facts_.technology) + "   " + shown(facts_.operator_name) + " " +
                           shown(facts_.operator_id));
        row("cell", numbered("mcc", facts_.mcc) + numbered("mnc", facts_.mnc) +
                        numbered("area", facts_.area_code) + numbered("cell", facts_.cell_id));
        signal(utf8);
        if (!model_.antenna().empty()) {
            row("antenna", model_.antenna());
        }
        row("SIM", sims());
        row("module", shown(facts_.manufacturer) + " " + shown(facts_.model) + " IMEI " + shown(facts_.imei));
    }

    void past()
    {
        const std::size_t left = size_.rows > lines_.size() ? size_.rows - lines_.size() : 0;
        const std::size_t most_states = std::clamp<std::size_t>(left / 3, 1, MOST_STATES_SHOWN);
        add("");
        add("States, newest first", Style::TITLE);
        states(most_states);
        add("");
        add("Changes, newest last", Style::TITLE);
        changes();
    }

    std::vector<ScreenLine> lines()
    {
        lines_.resize(std::min(lines_.size(), size_.rows));
        return std::move(lines_);
    }

private:
    void add(const std::string& text, Style style = Style::PLAIN)
    {
        lines_.push_back({clipped(text, size_.columns), style});
    }
    void row(const char* label, const std::string& value) { add(padded(label, LABEL_WIDTH) + value); }

    void state()
    {
        if (model_.states().empty()) {
            add("no status has come", Style::WARNING);
            return;
        }
        const auto& now = model_.states().back();
        const bool failed = facts_.daemon_gone || facts_.state == "FAILED";
        add(now.state + " for " + (now.seen_to_begin ? "" : "at least ") + since(now.since, now_),
            facts_.connected ? Style::GOOD
            : failed         ? Style::BAD
                             : Style::WARNING);
    }

    void signal(bool utf8)
    {
        const std::size_t room = size_.columns > LABEL_WIDTH ? size_.columns - LABEL_WIDTH : 0;
        const auto range = range_text(model_.signal(), room);
        row("signal", (facts_.rssi_dbm ? std::to_string(*facts_.rssi_dbm) + " dBm" : NOT_KNOWN) +
                          (facts_.bars ? "   " + std::to_string(*facts_.bars) + " of " +
                                             std::to_string(MOST_BARS) + " bars"
                                       : "") +
                          (range.empty() ? "" : "   " + range + ", 10 s a column"));
        row("", sparkline(model_.signal(), room, utf8));
    }

    std::string sims() const
    {
        std::string text = shown(facts_.active_sim);
        for (const auto& sim : facts_.sims) {
            text += "   " + shown(sim.type) + " ICCID " + shown(sim.iccid) + " IMSI " + shown(sim.imsi);
        }
        return text;
    }

    void states(std::size_t most)
    {
        auto end = now_;
        const auto& all = model_.states();
        for (auto stretch = all.rbegin(); stretch != all.rend() && most > 0; ++stretch, --most) {
            add("  " + time_text(stretch->since, false).substr(0, TIME_WIDTH) + "Z  " +
                padded(stretch->state, STATE_WIDTH) + (stretch->seen_to_begin ? "" : "at least ") +
                since(stretch->since, end));
            end = stretch->since;
        }
    }

    void changes()
    {
        const auto& all = model_.events();
        const std::size_t room = size_.rows > lines_.size() ? size_.rows - lines_.size() : 0;
        for (auto event = all.end() - static_cast<std::ptrdiff_t>(std::min(room, all.size()));
             event != all.end(); ++event) {
            add("  " + change_text(*event));
        }
    }

    const WatchModel& model_;
    const ModemFacts& facts_;
    const WatchModel::Time now_;
    const ScreenSize size_;
    std::vector<ScreenLine> lines_;
};

} // namespace

std::string clipped(const std::string& text, std::size_t columns)
{
    std::size_t count = 0;
    for (std::size_t pos = 0; pos < text.size(); ++pos) {
        if (begins_a_character(text[pos]) && ++count > columns) {
            return text.substr(0, pos);
        }
    }
    return text;
}

std::string padded(std::string text, std::size_t columns)
{
    const auto count = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins_a_character));
    return text.append(columns > count ? columns - count : 0, ' ');
}

std::vector<ScreenLine> watch_screen(const WatchModel& model, WatchModel::Time now, const std::string& broker,
                                     const ScreenSize& size, bool utf8)
{
    Screen screen(model, now, size);
    screen.head(broker);
    screen.present(utf8);
    screen.past();
    return screen.lines();
}

} // namespace celldctl
