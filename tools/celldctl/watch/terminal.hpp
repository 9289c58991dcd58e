#pragma once

#include "output.hpp"
#include "signals.hpp"
#include "watch/watch_screen.hpp"

#include <optional>
#include <termios.h>

namespace celldctl {

/// The terminal as a screen: its second one, without cursor, line wrap and echo. All of it is put back at the
/// end, however that comes about. Escape sequences of ECMA-48 and of xterm's private modes. Main thread only.
class Terminal {
public:
    /// Whether standard output is one that can do this.
    static bool is_there();
    /// Whether it shows UTF-8, by the locale of the environment.
    static bool shows_utf8();

    explicit Terminal(Output& output);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    ScreenSize size() const;
    void show(const std::vector<ScreenLine>& lines);
    /// A key that was pressed; nothing when none was.
    std::optional<char> key();

    /// Lets the signals that a screen heeds come as the others do: its size, and job control.
    static void take_signals(Signals& signals);
    /// One of them has come.
    void signal(int number);

    /// Gives the terminal back to the shell, and takes it again.
    void leave();
    void enter();

private:
    Output& output_;
    std::optional<termios> keyboard_; // as it was
    bool colours_;
};

} // namespace celldctl
