#pragma once

#include <set>
#include <string>
#include <string_view>

/// Small text functions. All are pure and may be called from any thread.
namespace utils {

/// Replaces every `from`, left to right; goes on behind what was inserted, so a `to` that holds `from` ends
/// too. An empty `from` changes nothing.
void replace(std::string& text, const std::string& from, const std::string& to);

/// A copy with every carriage return written "<CR>" and every line feed "<LF>".
std::string replace_crlf(const std::string& text);

/// Drop characters for which isspace(3) is true.
void ltrim(std::string& text);
void rtrim(std::string& text);
void trim(std::string& text);
std::string_view trimmed(std::string_view text);

/// ASCII letters only.
std::string lower_case(std::string text);

/// The distinct, sorted pieces between separators.
std::set<std::string> split_as(const std::string& text, char separator);

/// "<what>: <strerror(errno)> (<errno>)", of the errno at the call.
std::string errno_text(const std::string& what);

/// A copy that is UTF-8: what is not becomes U+FFFD, control characters become blanks.
std::string to_valid_utf8(std::string_view text);

} // namespace utils
