#include "stage.hpp"

#include "support/sleeping_threads.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

constexpr const char* LINE_END = "\r\n";

std::atomic<int> module_end{-1};
std::atomic<long> to_port{0}; // bytes written on the one side and not yet read on the other
std::atomic<long> to_module{0};

bool is_of_port(int fd)
{
    return fd > STDERR_FILENO && fd != module_end && ::isatty(fd) != 0;
}

/// What the call ends with, if it fails this time.
std::optional<int> failure_of(std::atomic<int>& call)
{
    errno = call.exchange(0);
    return errno == 0 ? std::nullopt : std::optional<int>(errno == next_call::NOTHING ? 0 : -1);
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's --wrap names them
extern "C" ssize_t __real_write(int fd, const void* bytes, size_t count);
extern "C" ssize_t __wrap_write(int fd, const void* bytes, size_t count)
{
    const bool counts = is_of_port(fd);
    const auto failure = counts ? failure_of(next_call::write) : std::nullopt;
    const auto done = failure ? *failure : __real_write(fd, bytes, count);
    to_module += counts ? std::max<long>(done, 0) : 0;
    return done;
}

extern "C" ssize_t __real_read(int fd, void* bytes, size_t count);
extern "C" ssize_t __wrap_read(int fd, void* bytes, size_t count)
{
    const auto done = __real_read(fd, bytes, count);
    if (!is_of_port(fd)) {
        return done;
    }
    to_port -= std::max<long>(done, 0);
    return failure_of(next_call::read).value_or(done); // what was to be read is lost then
}

// Takes all that has been sent, not only as much as the kernel has carried by now.
extern "C" int __real_tcflush(int fd, int what);
extern "C" int __wrap_tcflush(int fd, int what)
{
    const auto failure = failure_of(next_call::tcflush);
    int waiting = 0;
    while (to_module > 0 || (::ioctl(fd, FIONREAD, &waiting) == 0 && waiting < to_port)) {
        std::this_thread::yield();
    }
    to_port -= failure ? 0 : waiting;
    return failure ? *failure : __real_tcflush(fd, what);
}

extern "C" int __real_poll(pollfd* lines, nfds_t count, int timeout);
extern "C" int __wrap_poll(pollfd* lines, nfds_t count, int timeout)
{
    const bool is_wait = count == 2 && timeout > 0 && lines[1].fd >= 0;
    const bool is_rest = is_wait && lines[0].events == 0;
    next_call::rests += is_rest ? 1 : 0;
    const bool can_be_woken = is_wait && (!is_rest || next_call::endless_rest);
    const auto failure = is_wait ? failure_of(next_call::poll) : std::nullopt;
    return failure ? *failure : __real_poll(lines, count, can_be_woken ? -1 : timeout);
}
// NOLINTEND(bugprone-reserved-identifier)

Stage::Stage()
{
    plug_in();
    port.add_observer(this);
}

Stage::~Stage()
{
    begin([this] { return port.stop().unwrap() ? "stopped" : ""; });
    finish();
    module_end = -1;
    next_call::endless_rest = false;
}

void Stage::plug_in()
{
    module_ = UniqueFd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    std::array<char, 64> name = {};
    EXPECT_EQ(::grantpt(module_.get()), 0);
    EXPECT_EQ(::unlockpt(module_.get()), 0);
    EXPECT_EQ(::ptsname_r(module_.get(), name.data(), name.size()), 0);
    device = UniqueFd(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const auto link = root.path(DEVICE);
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::remove(link);
    std::filesystem::create_symlink(name.data(), link);
    module_end = module_.get();
    to_port = to_module = 0;
}

void Stage::hang_up()
{
    device = UniqueFd();
    module_ = UniqueFd(); // the other side reads a hang-up
}

void Stage::say(const std::string& bytes)
{
    to_port += static_cast<long>(bytes.size());
    EXPECT_EQ(::write(module_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void Stage::answer(const std::string& line)
{
    if (const auto known = answers.find(line); known != answers.end()) {
        say(known->second.empty() ? "\r\nOK\r\n" : "\r\n" + known->second + "\r\n\r\nOK\r\n");
    }
}

void Stage::begin(std::function<std::string()> work)
{
    calls_.push_back(std::async(std::launch::async, std::move(work)));
}

std::string Stage::text_of(const Result& result)
{
    return result.is_ok() ? result.unwrap().message
                          : std::to_string(static_cast<int>(result.unwrapErr().code)) + ' ' +
                                result.unwrapErr().final_response;
}

std::string Stage::start()
{
    begin([this] {
        const auto started = port.wait_until_available() ? port.start() : PortResult::err("absent");
        return started.is_ok() ? std::to_string(started.unwrap()) : started.unwrapErr();
    });
    return play("end");
}

std::string Stage::play(const std::string& script)
{
    std::istringstream steps(script);
    for (std::string what; std::getline(steps >> std::ws, what, ';');) {
        step(what);
        settle();
    }
    finish();
    return record();
}

void Stage::step(const std::string& what)
{
    std::istringstream words(what);
    std::string word;
    words >> word;
    int number = 0;
    const std::chrono::seconds time(words >> number ? number : 10);
    if (what.starts_with('<')) {
        say("\r\n" + what.substr(1) + "\r\n");
    } else if (word == "wait") {
        pass(time);
    } else if (word == "end") {
        finish();
    } else if (word == "interrupt") {
        port.interrupt();
    } else if (word == "resume") {
        port.resume();
    } else if (word.starts_with("AT")) {
        AtCommand command(word.substr(2), time);
        command.interruptible = word != "AT+CPWROFF";
        begin([=, this] { return text_of(port.execute(command)); });
    } else {
        const std::lock_guard held(mutex_);
        closed_ = word == "close";
        gate_.notify_all();
    }
}

void Stage::urc(const AtCommandResponse& response)
{
    std::unique_lock held(mutex_);
    reports_.push_back(response.message);
    gate_.wait(held, [this] { return !closed_; });
    if (response.value == "fault") {
        throw std::runtime_error("an observer's fault");
    }
}

// Whether the port has written anything.
bool Stage::hear()
{
    const bool anything = to_module > 0;
    while (to_module > 0) {
        std::array<char, 1024> buffer;
        const auto got = ::read(module_.get(), buffer.data(), buffer.size());
        to_module -= got;
        input_.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        for (auto end = input_.find(LINE_END); end != std::string::npos; end = input_.find(LINE_END)) {
            const auto line = input_.substr(0, end);
            input_.erase(0, end + 2);
            note('>' + line);
            heard(line);
        }
    }
    return anything;
}

void Stage::settle()
{
    const auto look = [this]() -> std::optional<long> {
        const bool is_read = to_port == 0 || !port.is_running(); // what comes behind its end lies there
        return !hear() && is_read ? switches_of_sleepers() : std::nullopt;
    };
    for (auto last = look(), now = look(); !now || now != last; last = std::exchange(now, look())) {
        std::this_thread::sleep_for(10us);
    }
    {
        const std::lock_guard held(mutex_);
        for (const auto& report : std::exchange(reports_, {})) {
            note('!' + report);
        }
    }
    std::erase_if(calls_, [this](auto& one) {
        const bool over = one.wait_for(0s) == std::future_status::ready;
        if (over) {
            note('=' + one.get());
        }
        return over;
    });
}

void Stage::pass(milliseconds time)
{
    const auto end = clock.now() + time;
    for (settle(); clock.now() < end; settle()) {
        clock.advance_to_next(std::chrono::ceil<milliseconds>(end - clock.now()));
    }
}

void Stage::finish()
{
    const auto longest = clock.now() + 24h;
    for (settle(); !calls_.empty(); settle()) {
        clock.advance_to_next(1h);
        if (clock.now() > longest) {
            std::abort(); // somebody waits for ever, and cannot be joined
        }
    }
}

void Stage::note(const std::string& text)
{
    const auto now = clock.now();
    if (noted_ != now) {
        const auto time = std::chrono::duration_cast<milliseconds>(now - begin_);
        record_ += (record_.empty() ? "" : "\n") + std::to_string(time.count()) + ':';
        noted_ = now;
    }
    record_ += ' ' + text;
}

std::string Stage::record()
{
    begin_ = clock.now();
    noted_ = {};
    return std::exchange(record_, {});
}
