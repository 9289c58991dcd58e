#include "board/gpio_tree.hpp"

#include <charconv>
#include <sys/inotify.h>
#include <utility>

namespace bench {
namespace {

/// IN_MODIFY is watched only to keep two IN_CLOSE_WRITE apart: the kernel merges equal neighbours in its
/// queue.
constexpr std::uint32_t WATCHED = IN_CLOSE_WRITE | IN_MODIFY;

std::string first_word(const std::optional<std::string>& text)
{
    constexpr auto BLANKS = " \t\r\n";
    const auto begin = text ? text->find_first_not_of(BLANKS) : std::string::npos;
    return begin == std::string::npos ? "" : text->substr(begin, text->find_first_of(BLANKS, begin) - begin);
}

bool is_level(const std::string& text)
{
    return text == "0" || text == "1";
}

} // namespace

GpioTree::GpioTree(const std::filesystem::path& root, BoardType board, FileWatcher& watcher)
    : base_(root / "sys/class/gpio"), watcher_(watcher)
{
    const auto add_pins = [this](std::span<const Pin> pins) {
        for (const auto& pin : pins) {
            PinState state{.pin = pin, .value = pin.active_low ? "1" : "0"};
            pins_.emplace(pin.line, std::move(state));
        }
    };
    board == BoardType::K7 ? add_pins(K7_PINS) : add_pins(QBX_PINS);
    std::filesystem::create_directories(base_);
    open_export();
    for (auto& [line, state] : pins_) {
        if (std::filesystem::exists(pin_path(state, "value"))) {
            export_pin(state);
        }
    }
}

GpioTree::~GpioTree()
{
    watcher_.remove(export_watch_);
    for (const auto& [line, state] : pins_) {
        watcher_.remove(state.watch);
    }
}

void GpioTree::open_export()
{
    watcher_.remove(export_watch_);
    write_atomically(base_ / "export", "");
    export_watch_ = watcher_.add(base_ / "export", WATCHED, [this](std::uint32_t mask, const std::string&) {
        export_writes_ += (mask & (IN_CLOSE_WRITE | IN_Q_OVERFLOW)) != 0 ? 1 : 0;
    });
}

std::filesystem::path GpioTree::pin_path(const PinState& state, const char* file) const
{
    return base_ / ("gpio" + std::to_string(state.pin.number)) / file;
}

void GpioTree::drive(Line line, bool level)
{
    const auto found = pins_.find(line);
    if (found != pins_.end()) {
        auto& state = found->second;
        store_value(state, level != state.pin.active_low ? "1" : "0");
    }
}

bool GpioTree::level(Line line) const
{
    const auto found = pins_.find(line);
    return found != pins_.end() && logical(found->second);
}

bool GpioTree::logical(const PinState& state)
{
    const bool defined =
        state.pin.driven_here || state.output; // an input line of the module is pulled to its off level
    return defined && (state.value == "1") != state.pin.active_low;
}

void GpioTree::store_value(PinState& state, const std::string& value)
{
    if (std::exchange(state.value, value) != value && state.exported && state.fault == GpioFault::NONE) {
        write_atomically(pin_path(state, "value"), value + "\n");
    }
}

void GpioTree::process()
{
    export_pending();
    for (auto& [line, state] : pins_) {
        process_direction(state);
        process_value(state);
    }
}

void GpioTree::export_pending()
{
    const int writes = std::exchange(export_writes_, 0);
    if (writes == 0) {
        return;
    }
    const auto text = first_word(read_file(base_ / "export"));
    int number = -1;
    std::from_chars(text.data(), text.data() + text.size(), number);
    for (auto& [line, state] : pins_) {
        const bool exportable = !state.exported && state.fault != GpioFault::UNEXPORTABLE;
        if (exportable && (writes > 1 || text.empty() || state.pin.number == number)) {
            export_pin(state);
        }
    }
}

void GpioTree::export_pin(PinState& state)
{
    const auto directory = pin_path(state, "value").parent_path();
    std::filesystem::create_directories(directory);
    const auto direction = first_word(read_file(directory / "direction"));
    const auto value = first_word(read_file(directory / "value"));
    state.output = direction == "out";
    if (direction != "in" && direction != "out") {
        write_atomically(directory / "direction", "in\n");
    }
    state.exported = true;
    state.watch = watcher_.add(directory, WATCHED,
                               [this, line = state.pin.line](std::uint32_t mask, const std::string& name) {
                                   note_event(pins_.at(line), mask, name);
                               });
    if (state.output && is_level(value)) {
        state.value = value; // a former run's level
    } else {
        write_atomically(directory / "value", state.value + "\n"); // last: its presence says the pin is there
    }
    if (state.fault != GpioFault::NONE) {
        put_files(state);
    }
}

void GpioTree::note_event(PinState& state, std::uint32_t mask, const std::string& name)
{
    const bool lost = (mask & IN_Q_OVERFLOW) != 0;
    if (!lost && (mask & IN_CLOSE_WRITE) == 0) {
        return;
    }
    if (lost || name == "direction") {
        state.direction_written = true;
        state.value_after = lost;
    }
    if (lost || name == "value") {
        state.value_after = true;
        ++state.value_writes;
    }
}

void GpioTree::process_direction(PinState& state)
{
    if (!std::exchange(state.direction_written, false)) {
        return;
    }
    const auto text = first_word(read_file(pin_path(state, "direction")));
    if (text != "low" && text != "high") {
        state.output = text == "out" || (state.output && text != "in");
        return;
    }
    const bool before = logical(state);
    state.output = true;
    write_atomically(pin_path(state, "direction"), "out\n");
    if (!state.value_after) {
        store_value(state, text == "high" ? "1" : "0");
    }
    if (logical(state) != before && on_change_) {
        on_change_({.line = state.pin.line, .level = logical(state), .pulsed = false, .set_up = true});
    }
}

void GpioTree::process_value(PinState& state)
{
    const int writes = std::exchange(state.value_writes, 0);
    state.value_after = false;
    if (writes == 0) {
        return;
    }
    const auto text = first_word(read_file(pin_path(state, "value")));
    if (state.pin.driven_here || !state.output || !is_level(text)) {
        if (!text.empty() || state.pin.driven_here) {
            write_atomically(pin_path(state, "value"), state.value + "\n"); // the kernel refuses such a write
        }
        return; // an empty file is in the middle of a write whose end comes as an event
    }
    const bool before = logical(state);
    state.value = text;
    const bool pulsed = writes > 1;
    if ((logical(state) != before || pulsed) && on_change_) {
        on_change_({.line = state.pin.line, .level = logical(state), .pulsed = pulsed});
    }
}

} // namespace bench
