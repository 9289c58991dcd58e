#include "modem/command_sequence.hpp"

Result run_sequence(AtTtyPort& port, const ModemVariant::Commands& commands)
{
    for (const auto& command : commands) {
        const auto answer = port.execute(command);
        if (!answer.is_ok()) {
            const AtError& error = answer.unwrapErr();
            return Result::err({error.code, command.text_for_log(), error.final_response});
        }
    }
    return Result::ok(AtCommandResponse("", "OK"));
}
