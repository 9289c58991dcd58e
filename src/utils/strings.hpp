#pragma once

#include <map>
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

/// The distinct, sorted pieces between separators.
std::set<std::string> split_as(const std::string& text, char separator);

/// Context identifiers and whether each is active, from the lines "+CGACT: <cid>,<state>" of an answer (3GPP
/// TS 27.007, 10.1.10), joined or not. Pieces that are no such pair are skipped.
std::map<int, bool> extract_cid_from_cgact(const std::string& response);

/// The last run of at least `shortest` digits; an ICCID's pad nibble F may end it. Empty when there is none.
/// Passes over an echoed command, or the rest of another answer, in front.
std::string last_number(std::string_view text, std::size_t shortest);

/// A copy in which the PIN of "+CPIN=" and the passwords of "+UAUTHREQ=" and "+UCGDFLT=" are "***".
std::string mask_secrets(std::string_view text);

/// "<what>: <strerror(errno)> (<errno>)", of the errno at the call.
std::string errno_text(const std::string& what);

/// A copy that is UTF-8: what is not becomes U+FFFD, control characters become blanks.
std::string to_valid_utf8(std::string_view text);

/// Whether a text could end or split the quoted argument of an AT command: control characters and double
/// quotes.
bool breaks_at_argument(std::string_view text);

} // namespace utils
