// The lines' files as a failing driver leaves them. Whoever is root reads and writes whatever the permissions
// are, so files that the kernel makes fail stand in.
#include "base/files.hpp"
#include "board/gpio_tree.hpp"

#include <algorithm>
#include <utility>

namespace bench {
namespace {

constexpr auto FAILS_TO_WRITE = "/proc/version"; ///< reads as text, EIO for a write (EACCES if not root)
constexpr auto FAILS_TO_READ = "/proc/self/mem"; ///< EIO at its beginning, which nobody has mapped
constexpr auto TAKES_NO_NUMBER = "/dev/full";    ///< ENOSPC for a write

} // namespace

void GpioTree::fault(const std::string& line, GpioFault fault)
{
    auto& state = find_pin(line);
    const bool input = state.pin.driven_here;
    if ((fault == GpioFault::UNREADABLE && !input) || (fault == GpioFault::UNWRITABLE && input)) {
        throw BenchError(std::string(text_of(state.pin.line)) +
                         (input ? " is an input, which nobody writes" : " is an output, which nobody reads"));
    }
    const auto before = std::exchange(state.fault, fault);
    if (fault == GpioFault::UNEXPORTABLE) {
        unexport(state);
        block_export();
    } else if (state.exported) {
        put_files(state);
    }
    const bool blocked = std::any_of(pins_.begin(), pins_.end(), [](const auto& pin) {
        return pin.second.fault == GpioFault::UNEXPORTABLE;
    });
    if (before == GpioFault::UNEXPORTABLE && !blocked) {
        open_export();
    }
}

GpioTree::PinState& GpioTree::find_pin(const std::string& line)
{
    for (auto& [name, state] : pins_) {
        if (line == text_of(name) || line == std::to_string(state.pin.number)) {
            return state;
        }
    }
    throw BenchError("'" + line + "' is no line of this board, neither by name nor by number");
}

/// The line itself stays at its level, as in the kernel.
void GpioTree::unexport(PinState& state)
{
    if (std::exchange(state.exported, false)) {
        watcher_.remove(std::exchange(state.watch, -1));
        std::filesystem::remove_all(pin_path(state, "value").parent_path());
    }
}

void GpioTree::block_export()
{
    for (auto& [name, state] : pins_) {
        if (!state.exported && state.fault != GpioFault::UNEXPORTABLE) {
            export_pin(state);
        }
    }
    watcher_.remove(std::exchange(export_watch_, -1));
    link_atomically(TAKES_NO_NUMBER, base_ / "export");
}

void GpioTree::put_files(const PinState& state)
{
    const auto value = pin_path(state, "value");
    const auto direction = pin_path(state, "direction");
    if (state.fault == GpioFault::UNREADABLE) {
        link_atomically(FAILS_TO_READ, value);
        return;
    }
    if (state.fault == GpioFault::UNWRITABLE) {
        link_atomically(FAILS_TO_WRITE, direction);
        link_atomically(FAILS_TO_WRITE, value);
        return;
    }
    write_atomically(direction, state.output ? "out\n" : "in\n");
    write_atomically(value, state.value + "\n");
}

} // namespace bench
