#include "at/at_record.hpp"

namespace bench {

AtRecord::Command AtRecord::received(const std::string& line)
{
    Command command{.id = ++last_id_, .written_ms = transcript_.now_ms(), .text = "AT" + line};
    transcript_.note("command", {std::to_string(command.id), command.text});
    return command;
}

void AtRecord::answered(const Command& command, const std::vector<std::string>& lines,
                        const std::string& result)
{
    for (const auto& line : lines) {
        transcript_.note("info", {std::to_string(command.id), line});
    }
    transcript_.note("answer", {std::to_string(command.id), std::to_string(command.written_ms), port_(),
                                command.text, result});
}

void AtRecord::unanswered(const Command& command, std::string_view reason)
{
    transcript_.note("unanswered",
                     {std::to_string(command.id), std::to_string(command.written_ms), reason, command.text});
}

} // namespace bench
