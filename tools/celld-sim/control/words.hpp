#pragma once

#include "module/module.hpp"

#include <string>
#include <string_view>

namespace bench {

/// The rest of a control command's line, taken word by word.
class Words {
public:
    explicit Words(std::string_view text) : text_(text) { skip_blanks(); }

    std::string next();

    /// The next word as a number from `low` to `high`. @throws BenchError when it is not one
    int number(int low, int high);

    /// The next word as a switch. @throws BenchError when it is neither "on" nor "off"
    bool on_or_off();

    /// @throws BenchError when the next word is neither "internal" nor "external"
    Slot slot();

    std::string rest();
    bool rest_is(std::string_view text) const { return text_ == text; }
    bool empty() const { return text_.empty(); }

private:
    void skip_blanks();

    std::string_view text_;
};

} // namespace bench
