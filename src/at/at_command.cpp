#include "at/at_command.hpp"

#include "at/at_text.hpp"
#include "at/name_characters.hpp"

#include <array>
#include <string_view>
#include <utility>

namespace {

struct ErrorWord {
    std::string_view word;
    AtErrorCode code;
};

// In this order: the numbered errors (3GPP TS 27.007, 9.2 and TS 27.005, 3.2.5) hold "ERROR" too.
constexpr std::array ERROR_WORDS{
    ErrorWord{"+CME ERROR:", AtErrorCode::CmeError}, ErrorWord{"+CMS ERROR:", AtErrorCode::CmsError},
    ErrorWord{"ABORTED", AtErrorCode::Error},        ErrorWord{"PORT_CLOSED", AtErrorCode::PortClosed},
    ErrorWord{"ERROR", AtErrorCode::Error},
};

AtErrorCode error_code_of(std::string_view final_line)
{
    for (const auto& [word, code] : ERROR_WORDS) {
        if (final_line.find(word) != std::string_view::npos) {
            return code;
        }
    }
    return AtErrorCode::UnexpectedResponse;
}

} // namespace

AtCommand::AtCommand(const std::string& text) : AtCommand(text, DEFAULT_TIMEOUT) {}

AtCommand::AtCommand(const std::string& text, std::chrono::seconds limit) : command(text), timeout(limit)
{
    init();
}

void AtCommand::init()
{
    const auto end_of_name = ::end_of_name(command);
    if (end_of_name == std::string::npos) {
        type = command.find('+') != std::string::npos ? Type::Action : Type::Set;
    } else if (command[end_of_name] == '=') {
        type = end_of_name + 2 == command.size() && command.back() == '?' ? Type::Test : Type::Set;
    } else if (command[end_of_name] == '?') {
        type = Type::Read;
    }
}

std::string AtCommand::prefix() const
{
    if (!expected_prefix.empty()) {
        return expected_prefix;
    }
    switch (type) {
    case Type::Set:
    case Type::Test:
    case Type::Action:
        return command.substr(0, command.find('='));
    case Type::Read:
        return command.substr(0, command.find('?'));
    case Type::Other:
        break;
    }
    return {}; // every line of the answer then belongs to the command
}

std::string AtCommand::build() const
{
    return "AT" + command + parameters() + "\r\n";
}

std::string AtCommand::parameters() const
{
    return {};
}

std::string AtCommand::text_for_log() const
{
    return at::mask_secrets(command);
}

Result AtCommand::exec_result(AtCommandResponse&& response)
{
    const auto failed = [&response](AtErrorCode code) {
        return Result::err(AtError{code, response.message, response.result});
    };
    switch (response.type) {
    case AtCommandResponse::Type::Unsolicited:
        return Result::ok(std::move(response));
    case AtCommandResponse::Type::Final:
        if (response.result.find("OK") != std::string::npos) {
            return Result::ok(std::move(response));
        }
        return failed(error_code_of(response.result));
    }
    return failed(AtErrorCode::UnexpectedResponse);
}
