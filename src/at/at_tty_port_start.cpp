#include "at/at_exchange.hpp"
#include "at/at_tty_port.hpp"

#include <ecu/kova/logging.hpp>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

const auto& port_log = ecu::kova::logging::module("celld.atport");

// A module that has just offered its port may need some seconds more before it answers.
constexpr int PROBES = 30;
constexpr auto PROBE_TIMEOUT = 1s;
constexpr auto PROBE_INTERVAL = 1s;
constexpr auto QUIET_AFTER_PROBE = 200ms;

} // namespace

PortResult AtTtyPort::start()
{
    const threads::MutexLock whole_start(start_mutex_);
    if (running_) {
        port_log.debug("Port already started!");
        return PortResult::ok(false);
    }
    port_log.debug("Start AtTtyPort ...");
    auto opened = open();
    if (!opened.is_ok()) {
        (void)close(); // logged there; a descriptor left behind would answer is_available()
        return opened;
    }
    port_log.debug("Successfully opened AtTtyPort!");
    if (!launch()) {
        (void)close();
        return PortResult::err("Unable to start the port thread");
    }
    if (!probe()) {
        (void)stop();
        return PortResult::err("Modem does not respond to AT commands.");
    }
    return PortResult::ok(true);
}

bool AtTtyPort::launch()
{
    const threads::MutexLock held(thread_mutex_);
    write_errors_ = 0;
    timeouts_ = 0;
    parser_.forget();
    {
        const threads::MutexLock exchanges(exchange_mutex_);
        unanswered_.clear(); // of a module that has restarted, or of a line that was closed
        strays_ = 0;
    }
    if (recorder_ != nullptr) {
        const threads::MutexLock naming(port_mutex_);
        recorder_->opened(device_);
    }
    hung_up_ = false;
    running_ = true;
    try {
        thread_ =
            std::thread([this] { send_receive_loop(); }); // ends the process if the last one was not joined
    } catch (const std::system_error& error) {
        port_log.error("Unable to start send & receive thread: ", error.what());
        running_ = false;
        return false;
    }
    return true;
}

// Ends early when the line is lost or the port stopped or interrupted meanwhile: nothing can answer then.
bool AtTtyPort::probe()
{
    const Turn turn(*this);
    bool answered = false;
    int tries = 0;
    while (turn.mine() && running_ && !interrupted_ && tries < PROBES) {
        ++tries;
        answered = probe_once();
        if (answered) {
            break;
        }
        clock_.sleep_for(PROBE_INTERVAL);
    }
    port_log.debug("Is started: ", answered ? "yes" : "", " after ", tries, " tries!");
    return answered;
}

// There only once nothing more follows its answer: a module that has just booted may answer every earlier
// probe as well, or have lost them.
bool AtTtyPort::probe_once()
{
    const auto finals = [this] {
        const threads::MutexLock held(exchange_mutex_);
        return finals_;
    };
    const auto before = finals();
    const auto exchange = publish(std::make_shared<Exchange>(AtCommand("", PROBE_TIMEOUT)));
    const bool own = exchange && wait_for(exchange) && exchange->answer &&
                     exchange->answer->result.find("OK") != std::string::npos;
    if (own && await_quiet(QUIET_AFTER_PROBE)) {
        return get_in_step();
    }
    return finals() != before && get_in_step();
}

PortResult AtTtyPort::stop()
{
    const threads::MutexLock held(thread_mutex_);
    if (!running_ && !thread_.joinable()) {
        return PortResult::ok(false);
    }
    interrupt_command();
    wake();
    if (thread_.joinable()) {
        thread_.join();
    }
    return PortResult::ok(true);
}

void AtTtyPort::interrupt_command()
{
    const threads::MutexLock held(exchange_mutex_);
    running_ = false;
    if (current_) {
        current_->interrupted = true;
        if (recorder_ != nullptr) {
            recorder_->given_up(current_->line, "interrupted");
        }
        current_.reset();
        answered_.notify_all();
    }
}

void AtTtyPort::wake() noexcept
{
    const int errno_before = errno; // of the code that a signal handler interrupts
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the thread is awake anyway.
    (void)!::write(wake_.get(), &one, sizeof one);
    errno = errno_before;
}
