#include "at/at_text.hpp"

#include "at/fields.hpp"

#include <algorithm>
#include <array>
#include <cctype>

namespace at {
namespace {

constexpr std::string_view MASK = "***";

/// A command with a secret: which of its quoted arguments it is.
struct SecretArgument {
    std::string_view command;
    int quoted_index; // counted from 1
    bool may_be_bare = false;
};

constexpr std::array SECRETS{
    SecretArgument{"+CPIN=", 1, true},
    SecretArgument{"+UAUTHREQ=", 1}, // <cid>,<type>,"<user>","<password>"
    SecretArgument{"+UAUTHREQ=", 2},
    SecretArgument{"+UCGDFLT=", 3}, // 1,"IP","<apn>",...,<type>,"<user>","<password>"
    SecretArgument{"+UCGDFLT=", 4},
};

/// Masks the `index`-th quoted text behind `from`; a quote that is never closed hides the rest.
void mask_quoted(std::string& text, std::size_t from, int index)
{
    std::size_t open = text.find('"', from);
    for (int i = 1; open != std::string::npos; ++i) {
        const std::size_t close = text.find('"', open + 1);
        const std::size_t end = close == std::string::npos ? text.size() : close;
        if (i == index) {
            text.replace(open + 1, end - open - 1, MASK);
            return;
        }
        open = close == std::string::npos ? close : text.find('"', close + 1);
    }
}

/// "+CPIN=" also takes its PIN without quotes.
void mask_bare_digits(std::string& text, std::size_t from)
{
    std::size_t end = from;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0) {
        ++end;
    }
    if (end > from) {
        text.replace(from, end - from, MASK);
    }
}

} // namespace

std::string last_identity(std::string_view text, Digits digits)
{
    std::string found;
    std::string word;
    for (const char c : std::string(text) + ' ') {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            word += c;
            continue;
        }
        word.erase(word.find_last_not_of("Ff") + 1);
        if (word.size() >= digits.least && word.size() <= digits.most &&
            word.find_first_not_of("0123456789") == std::string::npos) {
            found = word;
        }
        word.clear();
    }
    return found;
}

std::string mask_secrets(std::string_view text)
{
    std::string masked(text);
    for (const auto& secret : SECRETS) {
        std::size_t pos = masked.find(secret.command);
        while (pos != std::string::npos) {
            const std::size_t arguments = pos + secret.command.size();
            if (arguments < masked.size() &&
                std::isdigit(static_cast<unsigned char>(masked[arguments])) != 0 && secret.may_be_bare) {
                mask_bare_digits(masked, arguments);
            } else {
                mask_quoted(masked, arguments, secret.quoted_index);
            }
            pos = masked.find(secret.command, arguments);
        }
    }
    return masked;
}

bool breaks_at_argument(std::string_view text)
{
    for (const char c : text) {
        if (c == '"' || std::iscntrl(static_cast<unsigned char>(c)) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace at

namespace utils {

std::map<int, bool> extract_cid_from_cgact(const std::string& response)
{
    std::map<int, bool> contexts;
    for (const auto& line : at::pieces_of(response, "+CGACT")) {
        const at::Fields fields(line);
        const auto cid = fields[0].decimal();
        const auto state = fields[1].decimal();
        if (cid && state) {
            contexts[*cid] = *state != 0;
        }
    }
    return contexts;
}

} // namespace utils
