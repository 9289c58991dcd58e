#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace bench {

/// Answers that a test put in front of the module's own, and the commands received so far.
class Script {
public:
    enum class Kind { FAIL, ANSWER, SILENCE };

    struct Entry {
        Kind kind;
        std::string prefix; ///< of the command without its "AT", in either case
        std::string text;
    };

    static constexpr std::size_t JOURNAL_LENGTH = 500; ///< some ten minutes of a supervised connection

    /// The newest entry wins; one with the same prefix is replaced.
    void put(Entry entry);

    /// Removes the entries of this prefix, all with an empty one.
    void remove(const std::string& prefix);

    const Entry* find(std::string_view command) const;

    void note(std::string command);
    const std::deque<std::string>& journal() const { return journal_; }
    void clear_journal() { journal_.clear(); }

private:
    std::deque<Entry> entries_;
    std::deque<std::string> journal_;
};

} // namespace bench
