#include "at/at_exchange.hpp"
#include "at/at_text.hpp"
#include "at/at_tty_port.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <poll.h>
#include <string_view>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace std::chrono_literals;
using ecu::kova::logging::Level;

const auto& port_log = ecu::kova::logging::module("celld.atport");
const auto& raw_log = ecu::kova::logging::module("celld.atport.raw");

constexpr auto READ_POLL = 100ms; // the upper bound should a wake-up ever be missed
constexpr auto WRITE_POLL = 10ms; // under the exchange lock: a time-out is at most this late
constexpr auto EMPTY_READ_PAUSE = 100ms;
constexpr auto REPORT_REST = 10ms; // behind a report: more of them are then one read, and one wake-up
constexpr int MAX_READS_BEFORE_WRITE = 32;

std::string text_of(int error)
{
    return std::generic_category().message(error);
}

} // namespace

void AtTtyPort::send_receive_loop()
{
    port_log.debug("Start send & receive thread ... ");
    while (running_) {
        if (is_rw_avail(POLLIN, READ_POLL)) {
            const bool is_report = owes_nothing();
            if (receive() < input_.size() && is_report) {
                (void)poll_line(0, REPORT_REST); // a command that is handed over, or a hang-up, ends it
            }
        }
        if (interrupted_) {
            give_up_command();
        }
        if (running_) {
            send(read_waiting());
        }
    }
    release_command();
    if (recorder_ != nullptr) {
        recorder_->closed(hung_up_);
    }
    (void)close(); // logged there
}

bool AtTtyPort::is_rw_avail(short event, std::chrono::milliseconds timeout)
{
    return poll_line(event, timeout) != 0;
}

// Which of the events has happened. Waits for the line, and for a wake-up as well unless it is to be written
// to.
short AtTtyPort::poll_line(short events, std::chrono::milliseconds timeout)
{
    std::array<pollfd, 2> lines{{{fd_.get(), events, 0}, {events != POLLOUT ? wake_.get() : -1, POLLIN, 0}}};
    if (::poll(lines.data(), lines.size(), static_cast<int>(timeout.count())) == -1) {
        if (errno == EINTR) { // a signal to the process is not the line's fault
            return 0;
        }
        port_log.error(utils::errno_text("poll() error for reading/writing, stopping send and receive loop"));
        running_ = false;
        return 0;
    }
    if (lines[1].revents != 0) {
        drain_wake();
    }
    const auto happened = lines[0].revents;
    if (happened == 0) {
        return 0;
    }
    if ((happened & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        // Ordinary where the module restarts itself; a loss that nobody wanted is the state's news.
        port_log.notice("poll() error/nval/hup, stopping send and receive loop");
        hung_up_ = true;
        running_ = false;
        return 0;
    }
    if ((happened & events) == 0) {
        port_log.error("poll() returned an unknown event");
        return 0;
    }
    port_log.debug("poll() reported event for reading/writing");
    return static_cast<short>(happened & events);
}

// Whether all that comes now is a report.
bool AtTtyPort::owes_nothing()
{
    const threads::MutexLock held(exchange_mutex_);
    return !current_ && unanswered_.empty();
}

void AtTtyPort::drain_wake()
{
    std::uint64_t count = 0;
    (void)!::read(wake_.get(), &count, sizeof count); // non-blocking; an empty one is as good
}

// How many bytes it took.
std::size_t AtTtyPort::receive()
{
    const auto got = ::read(fd_.get(), input_.data(), input_.size());
    if (got <= 0) {
        if (got < 0 && errno != EAGAIN) {
            port_log.warning("read returned < 0, should not be reachable");
        }
        clock_.sleep_for(EMPTY_READ_PAUSE); // the poll before it succeeded: without a rest this would spin
        return 0;
    }
    {
        const threads::MutexLock held(exchange_mutex_);
        ++heard_;
    }
    const std::string_view bytes(input_.data(), static_cast<std::size_t>(got));
    if (raw_log.wants(Level::DEBUG)) {
        raw_log.debug("received: ", utils::replace_crlf(std::string(bytes)));
    }
    if (recorder_ != nullptr) {
        recorder_->received(bytes);
    }
    parser_.feed_input(bytes);
    {
        const threads::MutexLock held(exchange_mutex_);
        strays_ += parser_.take_stray_finals();
    }
    for (auto& response : parser_.take_responses()) {
        hand_out(std::move(response));
    }
    return bytes.size();
}

void AtTtyPort::hand_out(AtCommandResponse&& response)
{
    switch (response.type) {
    case AtCommandResponse::Type::Unsolicited:
        if (!is_marker_line(response)) { // of one that was given up; never a report
            notify_observers(response);
        }
        return;
    case AtCommandResponse::Type::Final: {
        const threads::MutexLock held(exchange_mutex_);
        take_final(std::move(response));
    }
        answered_.notify_all(); // not before: whoever is woken would only wait for the lock
        return;
    }
}

// The final line of the oldest command without one; an empty line says that it will have none.
void AtTtyPort::take_final(AtCommandResponse&& response)
{
    if (unanswered_.empty()) {
        return;
    }
    ++finals_;
    const auto oldest = unanswered_.front();
    unanswered_.pop_front();
    if (response.result.empty()) {
        port_log.debug("'", oldest->command.text_for_log(), "' will not be answered any more");
    } else if (oldest != current_) {
        port_log.debug("Late answer of '", oldest->command.text_for_log(), "' dropped");
    } else if (is_of_another(*oldest, response)) {
        ++strays_;
        unanswered_.push_front(oldest);
        parser_.active_command(oldest->command);
    } else {
        complete(std::move(response));
    }
}

// A marker is answered by its own line, or by an error. Other queries have an OK alone where there is nothing
// to tell, but none is written before the port is in step.
bool AtTtyPort::is_of_another(const Exchange& exchange, const AtCommandResponse& response)
{
    return exchange.is_marker && response.result == "OK" &&
           response.message.find(exchange.command.prefix() + ":") == std::string::npos;
}

void AtTtyPort::notify_observers(const AtCommandResponse& response)
{
    if (observers_are_new_.exchange(false)) {
        const threads::MutexLock held(port_mutex_);
        told_ = observers_;
    }
    for (auto* observer : told_) {
        try {
            observer->urc(response);
        } catch (const std::exception& error) { // an observer's fault does not take the port down
            port_log.error("URC observer with exception: ", error.what());
        }
    }
}

// What waits before a command is written is read, since the flush would cut reports in half. Whether the line
// then took something to write.
bool AtTtyPort::read_waiting()
{
    const auto about_to_write = [this] {
        const threads::MutexLock held(exchange_mutex_);
        return current_ && !current_->written;
    };
    short ready = POLLIN;
    for (int reads = 0; reads < MAX_READS_BEFORE_WRITE && about_to_write(); ++reads) {
        ready = poll_line(POLLIN | POLLOUT, 0ms);
        if ((ready & POLLIN) == 0) {
            break;
        }
        (void)receive();
    }
    return (ready & POLLOUT) != 0;
}

// The whole step is made under the lock: a command is either written before its time-out or not at all.
void AtTtyPort::send(bool is_writable)
{
    threads::MutexLock held(exchange_mutex_);
    if (!running_ || !current_ || current_->written) {
        return;
    }
    // An answer that is still owed is no garbage: it is read, and dropped as what it is.
    if (unanswered_.empty() && ::tcflush(fd_.get(), TCIOFLUSH) == -1) {
        port_log.error(utils::errno_text("tcflush() error"));
        return;
    }
    if (is_writable || is_rw_avail(POLLOUT, WRITE_POLL)) {
        write(current_);
    }
    const bool failed = !current_;
    held.unlock();
    if (failed) {
        answered_.notify_all();
    }
}

// A short write is not retried: the module answers ERROR to the torso, or nothing.
void AtTtyPort::write(const std::shared_ptr<Exchange>& exchange)
{
    if (::write(fd_.get(), exchange->line.data(), exchange->line.size()) >= 0) {
        if (unanswered_.empty()) {
            parser_.active_command(exchange->command);
        } else {
            parser_.following_command(exchange->command, exchange->is_marker);
        }
        unanswered_.push_back(exchange);
        if (port_log.wants(Level::DEBUG)) {
            port_log.debug("Port written: '", utils::replace_crlf(exchange->line), "'");
        }
        exchange->written = true;
        write_errors_ = 0;
        if (recorder_ != nullptr) {
            recorder_->sent(exchange->line);
        }
        return;
    }
    const auto reason = text_of(errno);
    const auto harmless =
        at::mask_secrets(utils::replace_crlf(exchange->line)); // goes to records, here and at the caller's
    ++write_errors_;
    port_log.error("Unable to write to port: '", harmless, "' (", reason, ")");
    complete({harmless + " (port-writing-error: '" + reason + "')", "ERROR"});
}

// Under exchange_mutex_, with a command in flight. Who waits for it is told by who held the lock, behind it.
void AtTtyPort::complete(AtCommandResponse&& response)
{
    current_->answer = std::move(response);
    current_.reset();
}

// Its caller has been told not to wait.
void AtTtyPort::give_up_command()
{
    const threads::MutexLock held(exchange_mutex_);
    if (current_ && current_->command.interruptible) {
        current_->interrupted = true;
        if (recorder_ != nullptr) {
            recorder_->given_up(current_->line, "interrupted");
        }
        current_.reset();
    }
    answered_.notify_all(); // those too who wait for quiet
}

void AtTtyPort::release_command()
{
    {
        const threads::MutexLock held(exchange_mutex_);
        if (current_) {
            port_log.error("Seems like modem rebooted and the port was lost. Release promise from command: ",
                           current_->command.text_for_log());
            complete({"", "PORT_CLOSED"});
        }
    }
    answered_.notify_all(); // those too who wait for quiet
}
