#include "at/at_tty_port.hpp"

#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <cstddef>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <utility>

namespace {

using namespace std::chrono_literals;

const auto& port_log = ecu::kova::logging::module("celld.atport");

// A module that boots takes its port away and brings it back within some seconds: long enough at one path to
// see that, short enough not to wait for ever at a path of another board.
constexpr int TRIES_PER_CANDIDATE = 20;
constexpr auto TRY_INTERVAL = 1s;

// One lost command may be bad luck; more than these in a row are a module that wants a reset.
constexpr int TOLERATED_WRITE_ERRORS = 10;
constexpr int TOLERATED_TIMEOUTS = 10;

constexpr mode_t MODE_BITS = 07777; // permissions, set-id and sticky bits, without the file type

} // namespace

AtTtyPort::AtTtyPort(std::vector<std::string> candidates, Clock& clock)
    : clock_(clock), candidates_(std::move(candidates)), wake_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (!wake_.is_open()) { // the loop then looks every 100 ms
        port_log.warning(utils::errno_text("eventfd() error"));
    }
}

AtTtyPort::~AtTtyPort()
{
    (void)AtTtyPort::stop(); // always succeeds
}

bool AtTtyPort::wait_until_available()
{
    if (candidates_.empty()) {
        port_log.error("No TTY devices provided, nothing to wait for!");
        return false;
    }
    waiting_ = true;
    auto next = candidates_.size();
    for (int tries = TRIES_PER_CANDIDATE; waiting_; ++tries, clock_.sleep_for(TRY_INTERVAL)) {
        if (tries == TRIES_PER_CANDIDATE) {
            if (next == candidates_.size()) {
                port_log.info("Try all TTY port candidates, start from the beginning");
                next = 0;
            }
            const auto& candidate = candidates_[next++];
            {
                const threads::MutexLock held(port_mutex_);
                device_ = candidate;
            }
            port_log.notice("Try to open TTY port ", candidate);
            tries = 0;
        }
        if (is_available()) {
            port_log.notice("Port ", candidates_[next - 1], " became ready after ", tries, " tries!");
            return true;
        }
    }
    port_log.info("Waiting for Port to become ready has been stopped");
    return false;
}

void AtTtyPort::stop_wait_until_available()
{
    waiting_ = false;
}

bool AtTtyPort::is_available() const
{
    const threads::MutexLock held(port_mutex_);
    struct stat status = {};
    if (!fd_.is_open()) {
        return ::stat(ecu::kova::rooted(device_).c_str(), &status) == 0;
    }
    if (::fstat(fd_.get(), &status) != 0) {
        port_log.error(utils::errno_text("fstat() error"));
        return false;
    }
    if ((status.st_mode & MODE_BITS) == 0) {
        port_log.error("No access to serial channel.");
        return false;
    }
    return true;
}

bool AtTtyPort::is_running() const
{
    return running_;
}

bool AtTtyPort::is_write_error() const
{
    return write_errors_ > TOLERATED_WRITE_ERRORS;
}

bool AtTtyPort::is_timeout() const
{
    return timeouts_ > TOLERATED_TIMEOUTS;
}

void AtTtyPort::interrupt() noexcept
{
    interrupted_ = true;
    wake();
}

void AtTtyPort::resume() noexcept
{
    interrupted_ = false;
}

bool AtTtyPort::is_interrupted() const noexcept
{
    return interrupted_;
}

void AtTtyPort::add_observer(IPortObserver* observer)
{
    if (observer != nullptr) {
        const threads::MutexLock held(port_mutex_);
        observers_.push_back(observer);
        observers_are_new_ = true;
    }
}
