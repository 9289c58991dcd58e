#include "watch.hpp"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr const char* VCC = "/sys/class/gpio/gpio3/value";
constexpr int LAST_ATTEMPT = 1;

// A TOBY that answers nothing any more: the command under way, the antenna's, "+CPWROFF" and its waits.
constexpr auto SILENT_WITHIN = 80s;

// A cold boot, an hour's search and the supervision of a connection stay below; so does a round of resets.
constexpr std::size_t MOST_COMMANDS_A_MINUTE = 400;
constexpr std::size_t MOST_RECORDS_A_MINUTE = 400;
constexpr int MOST_REFUSALS = 3; // of a transition in passes one behind the other: as many as events at once
constexpr std::size_t STORY_END = 3'000; // characters of a log that are kept

} // namespace

Watch::Watch(ManualClock& clock, ScriptedPort& module, LogCapture& log, const TempRoot& root)
    : clock_(clock), module_(module), log_(log), root_(root.path("").string()),
      supply_file_(open(root.path(VCC).c_str(), O_RDONLY | O_CLOEXEC)), pin_attempts_(PIN_ATTEMPTS)
{
    if (!supply_file_.is_open()) {
        throw std::runtime_error("there is no line of the supply");
    }
    module_.on_command([this](const AtCommand& sent) { command(sent); });
    module_.supplied(supply_);
    clock_.watched_by([this] { time_passes(); }, {});
}

Watch::~Watch()
{
    module_.on_command({});
    clock_.watched_by({}, {});
}

void Watch::command(const AtCommand& command)
{
    if (on_look_ && std::this_thread::get_id() == main_thread_) {
        on_look_();
    }
    look_at_the_supply();
    const auto& text = command.command;
    note("AT" + text + " " + std::to_string(command.timeout.count()));
    asked_to_end_ = asked_to_end_ || text == "+CPWROFF";
    const bool enters_pin = text.starts_with("+CPIN=");
    if (text.find('=') != std::string::npos && !enters_pin && !text.starts_with("+UGPIOR=")) {
        settings_.insert(text);
    }
    if (enters_pin && pin_attempts_ <= LAST_ATTEMPT) {
        breaks("last attempt", "a PIN was sent with " + std::to_string(pin_attempts_) + " attempts left");
    }
    if (const auto many = commands_.count(clock_.now()); many > MOST_COMMANDS_A_MINUTE) {
        breaks("commands", std::to_string(many) + " commands within a minute, the last AT" + text);
    }
}

void Watch::await_the_woken()
{
    clock_.watched_by([this] { time_passes(); }, [this] { module_.let_others_work(); });
}

void Watch::time_passes()
{
    if (on_look_) {
        on_look_();
    }
    look_at_the_supply();
    if (!supply_ || !module_.is_available()) {
        settings_.clear(); // the module has forgotten them
    }
}

void Watch::pass_ended()
{
    if (steady_) {
        module_.let_others_work();
    }
    time_passes();
    read_records();
    refusals_ = refused_this_pass_.empty() ? 0 : refusals_;
    refused_ = std::exchange(refused_this_pass_, "");
}

void Watch::radio_silence(bool ordered)
{
    silence_since_ = !ordered ? std::nullopt : silence_since_ ? silence_since_ : std::optional(clock_.now());
}

void Watch::supply_sticks(bool sticks)
{
    if (std::exchange(sticks_, sticks) && !sticks && silence_since_) {
        silence_since_ = clock_.now();
    }
}

void Watch::look_at_the_supply()
{
    const bool on = supplied();
    if (supply_ && !on && module_.is_running() && !asked_to_end_) {
        breaks("supply", "the supply was taken from a running module without \"+CPWROFF\"");
    }
    asked_to_end_ = asked_to_end_ && supply_ == on;
    if (std::exchange(supply_, on) != on) {
        note(on ? "supply on" : "supply off");
        module_.supplied(on);
    }
    if (on && !sticks_ && silence_since_ && clock_.now() - *silence_since_ > SILENT_WITHIN) {
        breaks("radio silence", "the supply is on though radio silence was ordered long ago");
    }
}

void Watch::read_records()
{
    for (const auto& record : log_.take()) {
        if (record.level > LogCapture::Level::NOTICE) {
            continue;
        }
        note(unrooted(record.text));
        if (const auto many = records_.count(clock_.now()); many > MOST_RECORDS_A_MINUTE) {
            breaks("records", std::to_string(many) + " records within a minute, the last: " + record.text);
        }
        if (record.text.find("not allowed!") != std::string::npos) {
            refusals_ = record.text == refused_ ? refusals_ + 1 : 1;
            refused_this_pass_ = record.text;
            if (refusals_ > MOST_REFUSALS) {
                breaks("refused transition", "asked for again and again: " + record.text);
            }
        }
        resets_ += record.text.find("Reset counter: ") != std::string::npos ? 1 : 0;
        story_ += record.text + '\n';
    }
    if (story_.size() > 2 * STORY_END) {
        story_.erase(0, story_.size() - STORY_END);
    }
}

/// Without where this run has its files, which no other one shares.
std::string Watch::unrooted(std::string text) const
{
    for (auto at = text.find(root_); at != std::string::npos; at = text.find(root_, at)) {
        text.erase(at, root_.size());
    }
    return text;
}

void Watch::note(const std::string& text)
{
    road_.note(std::to_string((clock_.now() - beginning_) / 1ms) + ' ' + text + '\n');
}

/// Often: the file is kept open.
bool Watch::supplied() const
{
    char level = '0';
    return pread(supply_file_.get(), &level, 1, 0) == 1 && level == '1';
}

void Watch::breaks(const std::string& rule, const std::string& how)
{
    if (rules_.insert(rule).second) {
        broken_.push_back(rule + ": " + how);
    }
}

std::size_t Watch::Rate::count(Clock::time_point now)
{
    times_.push_back(now);
    while (now - times_.front() > 1min) {
        times_.pop_front();
    }
    return times_.size();
}
