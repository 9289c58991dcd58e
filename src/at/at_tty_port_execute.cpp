#include "at/at_exchange.hpp"
#include "at/at_tty_port.hpp"
#include "at/fields.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {

using namespace std::chrono_literals;

const auto& port_log = ecu::kova::logging::module("celld.atport");

constexpr const char* NOT_RUNNING = "Port is no longer reading or writing";
constexpr const char* INTERRUPTED = AtError::INTERRUPTED;
constexpr std::size_t WORD_ROOM = 1024; // characters of a scanned word; the format below says the same number

__attribute__((format(scanf, 2, 0))) int scan(const std::string& text, const char* format,
                                              std::va_list arguments)
{
    std::va_list copy; // the caller's list serves several scans
    va_copy(copy, arguments);
    // The analyzer does not follow va_copy from a parameter.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int converted = std::vsscanf(text.c_str(), format, copy);
    va_end(copy);
    return converted;
}

/// Over the piece behind the command's prefix that fills most of the format, the last such: a report of the
/// same prefix before or behind the answer is so told from the answer. Over the whole value when no piece has
/// the prefix.
__attribute__((format(scanf, 3, 0))) bool scan_answer(const AtCommandResponse& response,
                                                      const std::string& prefix, const char* format,
                                                      std::va_list arguments)
{
    const auto pieces = at::pieces_of(response.complete_message(), prefix);
    if (pieces.empty()) {
        return response.vparse(format, arguments);
    }
    const std::string* best = &pieces.front();
    int most = 0;
    for (const auto& piece : pieces) {
        const int converted = scan(piece, format, arguments);
        if (converted >= most) {
            most = converted;
            best = &piece;
        }
    }
    // Shorter pieces have written into the caller's values too; the chosen one has the last word.
    return scan(*best, format, arguments) >= 1;
}

Result failure(AtErrorCode code, const std::string& text)
{
    return Result::err(AtError{code, text, text});
}

} // namespace

Result AtTtyPort::execute(const AtCommand& command)
{
    auto result = carry_out(command);
    command_over();
    return result;
}

Result AtTtyPort::carry_out(const AtCommand& command)
{
    if (!running_) {
        return failure(AtErrorCode::PortClosed, NOT_RUNNING);
    }
    const Turn turn(*this);
    if (!turn.mine()) {
        return failure(AtErrorCode::Busy, "Device is busy processing another command");
    }
    // Whoever cannot be interrupted cannot wait for that either; nobody looks at what "+CPWROFF" is answered.
    if (command.interruptible && !get_in_step()) {
        return running_ && !interrupted_
                   ? not_sent(command)
                   : failure(AtErrorCode::PortClosed, running_ ? INTERRUPTED : NOT_RUNNING);
    }
    const auto exchange = publish(std::make_shared<Exchange>(command));
    if (!exchange) {
        return failure(AtErrorCode::PortClosed, running_ ? INTERRUPTED : NOT_RUNNING);
    }
    return await(exchange);
}

std::shared_ptr<AtTtyPort::Exchange> AtTtyPort::publish(std::shared_ptr<Exchange> exchange)
{
    {
        const threads::MutexLock held(exchange_mutex_);
        // ended or interrupted while this caller waited for its turn
        if (!running_ || (interrupted_ && exchange->command.interruptible)) {
            return nullptr;
        }
        current_ = exchange;
    }
    wake();
    return exchange;
}

/// False when the time-out came first: from then on the port thread knows nothing of it but that it was
/// written.
bool AtTtyPort::wait_for(const std::shared_ptr<Exchange>& exchange)
{
    threads::MutexLock held(exchange_mutex_);
    const auto deadline = clock_.now() + exchange->command.timeout;
    while (!exchange->is_over() && clock_.wait_until(answered_, held.standard(), deadline)) {
    }
    if (!exchange->is_over()) {
        if (recorder_ != nullptr) {
            recorder_->given_up(exchange->line, exchange->written ? "time-out" : "not sent");
        }
        current_.reset();
        return false;
    }
    return true; // an exchange that is over is nobody's but the caller's
}

Result AtTtyPort::await(const std::shared_ptr<Exchange>& exchange)
{
    const auto& command = exchange->command;
    if (!wait_for(exchange)) {
        return timed_out(command);
    }
    if (exchange->interrupted) {
        port_log.error("Get_future/Promise indicated an exception: ", INTERRUPTED);
        return failure(AtErrorCode::PortClosed, INTERRUPTED);
    }
    timeouts_ = 0;
    port_log.debug("Command '", command.command, "' response: '", exchange->answer->message,
                   "' final response: '", exchange->answer->result, "'");
    return AtCommand::exec_result(std::move(*exchange->answer));
}

/// Counts as a time-out: a module that hangs is known by these.
Result AtTtyPort::not_sent(const AtCommand& command)
{
    port_log.notice("The module still owes an answer, '", command.text_for_log(), "' is not sent");
    ++timeouts_;
    return failure(AtErrorCode::Timeout, "");
}

Result AtTtyPort::timed_out(const AtCommand& command)
{
    port_log.notice("Command '", command.text_for_log(), "' timeout!");
    ++timeouts_;
    return failure(AtErrorCode::Timeout, "");
}

Result AtTtyPort::execute(const AtCommand& command, const char* format, ...)
{
    auto result = execute(command);
    if (!result.is_ok()) {
        return result;
    }
    const auto& response = result.unwrap();
    std::va_list arguments;
    va_start(arguments, format);
    const bool scanned = scan_answer(response, command.prefix(), format, arguments);
    va_end(arguments);
    if (!scanned) {
        return Result::err(AtError{AtErrorCode::ParseError, response.prefix + ": " + response.value,
                                   "format parsing failed"});
    }
    return result;
}

Result AtTtyPort::execute(const AtCommand& command, std::string& out)
{
    std::array<char, WORD_ROOM + 1> word = {};
    auto result = execute(command, "%1024s", word.data());
    if (result.is_ok()) {
        out = word.data();
    }
    return result;
}
