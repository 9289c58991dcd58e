#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// How the firmware fails on a command.
struct Crash {
    bool before = false; ///< the command has no effect; otherwise its answer is missing only
    bool returns = true; ///< by itself; otherwise the supply or PWR_ON must come anew
    std::optional<std::chrono::milliseconds> boot; ///< how long it boots; as always when absent
};

/// What a test put in the way of commands, and the commands received so far.
class Script {
public:
    enum class Kind {
        FAIL, ///< instead of the module's own answer, as are the next two
        ANSWER,
        SILENCE,
        LATE, ///< by `pause`
        LOST, ///< the final result is
        CRASH,
        CUT,    ///< into single bytes, `pause` apart
        REPORT, ///< `text` comes in front of the final result
    };

    /// What is done to the commands that begin with `prefix`.
    struct Entry {
        Kind kind = Kind::FAIL;
        std::string prefix{}; ///< without the "AT", in either case; "AT" is the empty command, "*" any
        std::string text{};
        std::chrono::milliseconds pause{0};
        Crash crash{};
        unsigned turn = 1; ///< of these commands the first that it is for, counted from when it was put
        bool once = false; ///< for that one only
        unsigned seen = 0; ///< of these commands so far
    };

    static constexpr std::size_t JOURNAL_LENGTH = 500; ///< some ten minutes of a supervised connection

    /// Among those that give the answer the newest wins, as among those of each other kind; one of the same
    /// prefix is replaced.
    void put(Entry entry);

    /// Removes the entries of this prefix, all with an empty one.
    void remove(const std::string& prefix);

    /// What is to be done to this command, which is thereby counted: at most one entry of each sort.
    std::vector<Entry> take(std::string_view command);

    void note(std::string command);
    const std::deque<std::string>& journal() const { return journal_; }
    void clear_journal() { journal_.clear(); }

private:
    std::deque<Entry> entries_; ///< newest first
    std::deque<std::string> journal_;
};

} // namespace bench
