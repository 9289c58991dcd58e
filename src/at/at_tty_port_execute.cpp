#include "at/at_exchange.hpp"
#include "at/at_tty_port.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <cstdarg>
#include <utility>

namespace {

using namespace std::chrono_literals;

const auto& port_log = ecu::kova::logging::module("celld.atport");

// Longer than nearly every command takes; a caller behind +COPS=? or a dead module is told instead of held.
constexpr auto TURN_TIMEOUT = 30s;
constexpr const char* NOT_RUNNING = "Port is no longer reading or writing";
constexpr const char* INTERRUPTED = AtError::INTERRUPTED;
constexpr std::size_t WORD_ROOM = 1024; // characters of a scanned word; the format below says the same number

Result failure(AtErrorCode code, const std::string& text)
{
    return Result::err(AtError{code, text, text});
}

} // namespace

/// The right to execute: one command at a time, from before it is published until its result is known.
class AtTtyPort::Turn {
public:
    explicit Turn(AtTtyPort& port) : port_(port)
    {
        std::unique_lock held(port_.exchange_mutex_);
        const auto deadline = port_.clock_.now() + TURN_TIMEOUT;
        while (port_.turn_taken_ && port_.clock_.wait_until(port_.turn_free_, held, deadline)) {
        }
        mine_ = !std::exchange(port_.turn_taken_, true);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn()
    {
        if (mine_) {
            const std::lock_guard held(port_.exchange_mutex_);
            port_.turn_taken_ = false;
            port_.turn_free_.notify_one();
        }
    }

    bool mine() const { return mine_; }

private:
    AtTtyPort& port_;
    bool mine_ = false;
};

Result AtTtyPort::execute(const AtCommand& command)
{
    if (!running_) {
        return failure(AtErrorCode::PortClosed, NOT_RUNNING);
    }
    const Turn turn(*this);
    if (!turn.mine()) {
        return failure(AtErrorCode::Busy, "Device is busy processing another command");
    }
    const auto exchange = publish(command);
    if (!exchange) {
        return failure(AtErrorCode::PortClosed, running_ ? INTERRUPTED : NOT_RUNNING);
    }
    return await(exchange);
}

std::shared_ptr<AtTtyPort::Exchange> AtTtyPort::publish(const AtCommand& command)
{
    auto exchange = std::make_shared<Exchange>(command);
    {
        const std::lock_guard held(exchange_mutex_);
        if (!running_ || (interrupted_ && command.interruptible)) { // while this caller waited for its turn
            return nullptr;
        }
        current_ = exchange;
    }
    wake();
    return exchange;
}

Result AtTtyPort::await(const std::shared_ptr<Exchange>& exchange)
{
    std::unique_lock held(exchange_mutex_);
    const auto& command = exchange->command;
    const auto deadline = clock_.now() + command.timeout;
    while (!exchange->is_over() && clock_.wait_until(answered_, held, deadline)) {
    }
    if (!exchange->is_over()) {
        current_.reset(); // from here on the port thread knows nothing of it
        held.unlock();
        return timed_out(command);
    }
    held.unlock(); // an exchange that is over is nobody's but the caller's
    if (exchange->interrupted) {
        port_log.error("Get_future/Promise indicated an exception: ", INTERRUPTED);
        return failure(AtErrorCode::PortClosed, INTERRUPTED);
    }
    timeouts_ = 0;
    port_log.debug("Command '", command.command, "' response: '", exchange->answer->message,
                   "' final response: '", exchange->answer->result, "'");
    return AtCommand::exec_result(std::move(*exchange->answer));
}

Result AtTtyPort::timed_out(const AtCommand& command)
{
    if (report_timeouts_) {
        port_log.notice("Command '", command.text_for_log(), "' timeout!");
    }
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
    const bool scanned = response.vparse_payload(command.prefix(), format, arguments);
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
