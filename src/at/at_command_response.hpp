#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

/// One parsed answer of the module, or an unsolicited result code (URC). A plain value.
struct AtCommandResponse {
    enum class Type : std::int32_t {
        Final = 0,       ///< final answer to the active command
        Unsolicited = 1, ///< URC, or a line that belongs to no active command
    };

    AtCommandResponse(Type type, std::string_view message, std::string_view result);
    /// Of type `Final`.
    AtCommandResponse(std::string_view message, std::string_view result);

    /// Fills `message`, `prefix` and `value`. The two characters behind the colon are skipped unseen.
    void init(std::string_view message);

    const std::string& complete_message() const { return message; }

    /// What stands behind the last "<wanted>:" of the message, blanks in front dropped: the same text as
    /// `value` for the stated form, and also right without the blank, or with URCs of the same prefix joined
    /// in front. `value` when the message has no such piece. Its fields are read with at::Fields.
    std::string payload(std::string_view wanted) const;

    /// Scans `value` with vsscanf(3); true when at least one value was converted.
    __attribute__((format(scanf, 2, 3))) bool parse(const char* format, ...) const;
    __attribute__((format(scanf, 2, 0))) bool vparse(const char* format, std::va_list arguments) const;

    /// True when `text` occurs anywhere in the prefix: "+CGREG" equals "+CG".
    bool operator==(std::string_view text) const;

    Type type = Type::Final;
    std::string prefix;  ///< text before the first ':' of a "name: value" line, else empty
    std::string value;   ///< text behind the colon and blank, or the whole text
    std::string result;  ///< the final line ("OK", "+CME ERROR: ..."); empty for a URC
    std::string message; ///< the text parsed: a command's lines joined, or the URC's line
};
