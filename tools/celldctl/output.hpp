#pragma once

#include <string_view>

namespace celldctl {

/// Standard output, unbuffered: a reader has each line at once. Main thread only.
class Output {
public:
    /// All of it, however long the reader takes; a signal that ends the program ends the wait (Failure,
    /// BY_SIGNAL). Throws Failure (OUTPUT_GONE) when that cannot be done: without a text when a reader that
    /// has had something has gone, as `| head` does, else with the system's reason.
    void write(std::string_view text);
    /// The reader at the other end of a pipe has gone, which would else show at the next write only: throws
    /// as `write` does.
    void check_reader() const;

private:
    static void wait_for_room();
    [[noreturn]] void fail(int error) const;

    bool written_ = false;
};

/// Tells a failure on standard error.
void complain(std::string_view text);

} // namespace celldctl
