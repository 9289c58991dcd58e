#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

/// What is known of the texts of commands and answers, apart from executing them. Pure; any thread.
namespace at {

/// How many digits an identity has.
struct Digits {
    std::size_t least;
    std::size_t most;
};

/// The last word, letters and digits in a row, that is an identity: so many digits and nothing else. The pad
/// nibbles F that fill an ICCID's last byte may follow and are taken off. Empty when there is none. Passes
/// over an echoed command, or the rest of another answer, in front.
std::string last_identity(std::string_view text, Digits digits);

/// A copy in which the PIN of "+CPIN=" and users and passwords of "+UAUTHREQ=" and "+UCGDFLT=" are "***".
std::string mask_secrets(std::string_view text);

/// Whether a text could end or split the quoted argument of an AT command: control characters and double
/// quotes.
bool breaks_at_argument(std::string_view text);

} // namespace at

namespace utils {

/// Context identifiers and whether each is active, from the lines "+CGACT: <cid>,<state>" of an answer (3GPP
/// TS 27.007, 10.1.10), joined or not. Pieces that are no such pair are skipped.
std::map<int, bool> extract_cid_from_cgact(const std::string& response);

} // namespace utils
