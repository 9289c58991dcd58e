#include "watch/terminal.hpp"

#include "exit_status.hpp"

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace celldctl {

namespace {

// The second screen, the cursor, line wrap.
constexpr std::string_view ENTER = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr std::string_view LEAVE = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

std::string variable(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return value == nullptr ? "" : value;
}

const char* escape(Style style)
{
    switch (style) {
    case Style::PLAIN:
        return "";
    case Style::TITLE:
        return "\x1b[1m";
    case Style::GOOD:
        return "\x1b[1;32m";
    case Style::WARNING:
        return "\x1b[1;33m";
    case Style::BAD:
        return "\x1b[1;31m";
    }
    return "";
}

/// A job in the background would be stopped for touching it.
bool has_the_keyboard()
{
    return isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp();
}

} // namespace

bool Terminal::is_there()
{
    const auto kind = variable("TERM");
    return isatty(STDOUT_FILENO) != 0 && !kind.empty() && kind != "dumb";
}

bool Terminal::shows_utf8()
{
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe): nobody else looks
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; // NOLINT(concurrency-mt-unsafe): likewise
}

Terminal::Terminal(Output& output) : output_(output), colours_(variable("NO_COLOR").empty())
{
    enter();
}

Terminal::~Terminal()
{
    try {
        leave();
    } catch (const Failure&) { // the terminal is gone, and with it what was to be put back
    }
}

ScreenSize Terminal::size() const
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

void Terminal::show(const std::vector<ScreenLine>& lines)
{
    std::string frame = "\x1b[H";
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const auto& line = lines[index];
        const bool styled = colours_ && line.style != Style::PLAIN;
        frame += index == 0 ? "" : "\r\n";
        frame += (styled ? escape(line.style) : "") + line.text + (styled ? "\x1b[0m" : "") + "\x1b[K";
    }
    frame += "\x1b[J";
    output_.write(frame);
}

std::optional<char> Terminal::key()
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char key = '\0';
    if (!keyboard_ || poll(&input, 1, 0) <= 0 || read(STDIN_FILENO, &key, 1) != 1) {
        return std::nullopt;
    }
    return key;
}

void Terminal::take_signals(Signals& signals)
{
    for (const int number : {SIGWINCH, SIGTSTP, SIGCONT}) {
        signals.also(number);
    }
}

void Terminal::signal(int number)
{
    if (number == SIGTSTP) {
        leave();
        static_cast<void>(raise(SIGSTOP));
        enter();
    }
}

void Terminal::leave()
{
    if (keyboard_) {
        static_cast<void>(tcsetattr(STDIN_FILENO, TCSANOW, &*keyboard_));
        keyboard_.reset();
    }
    output_.write(LEAVE);
}

void Terminal::enter()
{
    termios keyboard{};
    if (has_the_keyboard() && tcgetattr(STDIN_FILENO, &keyboard) == 0) {
        keyboard_ = keyboard;
        keyboard.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        static_cast<void>(tcsetattr(STDIN_FILENO, TCSANOW, &keyboard));
    }
    output_.write(ENTER);
}

} // namespace celldctl
