#pragma once

#include "at/at_command.hpp"
#include "at/at_parser.hpp"
#include "at/i_port_observer.hpp"
#include "at/i_port_recorder.hpp"
#include "at/result.hpp"
#include "timer/clock.hpp"
#include "utils/unique_fd.hpp"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <threads/mutex.hpp>
#include <utility>
#include <vector>

/// The module's AT port: finds its TTY among candidates, opens it exclusively in raw mode at 115200 8N1, and
/// executes commands on it, one at a time, through a thread of its own that alone reads and writes.
///
/// An answer belongs to its command. The module answers serially (ITU-T V.250, 5.6), but it may answer late
/// or never: a command that ended without its final line leaves the port out of step, and before the next one
/// is written the port gets back in step (at_tty_port_step.cpp), or that one ends like a time-out, unwritten.
///
/// `execute` may be called from any thread but the port's own; `start`, `stop` and `wait_until_available`
/// from one thread at a time. Nothing throws. Logs on "celld.atport", the bytes received on
/// "celld.atport.raw".
class AtTtyPort {
public:
    /// `candidates`: device paths, tried in this order, below CELLD_ROOT.
    explicit AtTtyPort(std::vector<std::string> candidates, Clock& clock = SystemClock::instance());
    AtTtyPort(const AtTtyPort&) = delete;
    AtTtyPort& operator=(const AtTtyPort&) = delete;

    /// Blocks until a candidate exists (true) or the wait is stopped (false): each is probed once a second
    /// for 20 s, in turn, without end. False at once without candidates.
    virtual bool wait_until_available();
    /// Ends a wait that has begun; one that comes before is lost, since a wait starts by forgetting it. Any
    /// thread.
    virtual void stop_wait_until_available();
    /// Whether the device is there: its node while the port is closed, its descriptor while open.
    virtual bool is_available() const;

    /// More than 10 consecutive failed writes.
    virtual bool is_write_error() const;
    /// More than 10 consecutive commands without an answer.
    virtual bool is_timeout() const;

    /// Opens the device, starts the thread and probes with "AT" up to 30 times, a second apart.
    /// A port whose loop has ended by itself is stopped first, or the start ends the process.
    /// Success: true when started, false when it was running already. Failure: what went wrong.
    virtual PortResult start();
    /// Interrupts the command in flight (it returns code 14) and joins the thread.
    virtual PortResult stop();
    /// From here on nobody waits for the module: the command in flight ends within 100 ms with code 14, a
    /// wait for a turn ends with it, and later ones fail at once, until `resume`. A command that is not
    /// `interruptible` is executed all the same. `stop` and `start` change nothing about it.
    /// Async-signal-safe; any thread.
    virtual void interrupt() noexcept;
    virtual void resume() noexcept;
    virtual bool is_interrupted() const noexcept;

    /// Before `start`; null is ignored. Observers live as long as the port runs.
    virtual void add_observer(IPortObserver* observer);

    /// Before `start`; null: nobody. Lives as long as the port.
    void recorder(IPortRecorder* recorder) { recorder_ = recorder; }

    /// Before `start`. Runs at the end of every `execute`, on its caller's thread; must not execute one
    /// itself.
    void after_command(std::function<void()> told) { after_command_ = std::move(told); }

    /// Runs one command and waits for its final answer, `command.timeout` at most. Waits up to 30 s for
    /// another thread's command to end first (code 1 after that).
    virtual Result execute(const AtCommand& command);
    /// As above, then scans the answer behind the command's prefix with vsscanf(3); one conversion is enough,
    /// so values start with a defined default. Code 13 when nothing was converted.
    __attribute__((format(scanf, 3, 4))) virtual Result execute(const AtCommand& command, const char* format,
                                                                ...);
    /// As above: `out` is the first word of the answer, at most 1024 characters.
    virtual Result execute(const AtCommand& command, std::string& out);

    virtual ~AtTtyPort();

    /// Whether the send/receive thread is up. A loop that ended by itself (hang-up, poll error) leaves this
    /// false even when the node has come back.
    virtual bool is_running() const;

protected:
    void command_over() const
    {
        if (after_command_) {
            after_command_();
        }
    }

private:
    struct Exchange;
    class Turn;

    // at_tty_port_line.cpp: the descriptor and its settings
    PortResult open();
    bool close();

    // at_tty_port_start.cpp: the thread's life
    bool launch();
    bool probe();
    bool probe_once();
    void interrupt_command();
    void wake() noexcept;

    // at_tty_port_loop.cpp: the port thread
    void send_receive_loop();
    bool is_rw_avail(short event, std::chrono::milliseconds timeout);
    short poll_line(short events, std::chrono::milliseconds timeout);
    bool owes_nothing();
    void drain_wake();
    std::size_t receive();
    void hand_out(AtCommandResponse&& response);
    void notify_observers(const AtCommandResponse& response);
    bool read_waiting();
    void send(bool is_writable);
    void write(const std::shared_ptr<Exchange>& exchange) THREADS_REQUIRES(exchange_mutex_);
    void take_final(AtCommandResponse&& response) THREADS_REQUIRES(exchange_mutex_);
    static bool is_of_another(const Exchange& exchange, const AtCommandResponse& response);
    void complete(AtCommandResponse&& response) THREADS_REQUIRES(exchange_mutex_);
    void release_command();
    void give_up_command();

    // at_tty_port_execute.cpp: the callers' side
    Result carry_out(const AtCommand& command);
    std::shared_ptr<Exchange> publish(std::shared_ptr<Exchange> exchange);
    bool wait_for(const std::shared_ptr<Exchange>& exchange);
    Result await(const std::shared_ptr<Exchange>& exchange);
    Result timed_out(const AtCommand& command);
    Result not_sent(const AtCommand& command);

    // at_tty_port_step.cpp: back in step with a module that owes answers
    static bool is_marker_line(const AtCommandResponse& response);
    bool is_in_step();
    bool get_in_step();
    void ask_marker();
    std::size_t strays();
    std::shared_ptr<Exchange> make_marker();
    bool await_quiet(std::chrono::milliseconds quiet);

    Clock& clock_;
    const std::vector<std::string> candidates_;
    IPortRecorder* recorder_ = nullptr;
    std::function<void()> after_command_;

    threads::Mutex start_mutex_;  // held by start() from beginning to end; nothing else takes it
    threads::Mutex thread_mutex_; // guards thread_; held while it is joined; the port thread never takes it
    std::thread thread_ THREADS_GUARDED_BY(thread_mutex_);

    mutable threads::Mutex port_mutex_; // guards the next three; never held while waiting
    std::string device_ THREADS_GUARDED_BY(port_mutex_);
    UniqueFd fd_; // while the port thread runs only it replaces this, so it alone reads without the mutex
    std::vector<IPortObserver*> observers_ THREADS_GUARDED_BY(port_mutex_);
    std::atomic<bool> observers_are_new_{false};

    UniqueFd wake_; // eventfd: a command was published, or the thread shall end
    std::atomic<bool> waiting_{false};
    std::atomic<bool> running_{false}; // false before the port thread looks for a command for the last time
    std::atomic<bool> interrupted_{false};
    std::atomic<int> write_errors_{0}; // consecutive
    std::atomic<int> timeouts_{0};     // consecutive

    // Guards what follows, save the parser, and every exchange. The port thread ends by looking for a command
    // under it, and a command is only published under it while running_: so none is ever left without an
    // answer.
    threads::Mutex exchange_mutex_;
    std::condition_variable turn_free_;
    std::condition_variable answered_;
    bool turn_taken_ THREADS_GUARDED_BY(exchange_mutex_) = false;
    std::shared_ptr<Exchange> current_ THREADS_GUARDED_BY(
        exchange_mutex_); // the one in flight; emptied when it has its answer or is given up
    std::deque<std::shared_ptr<Exchange>> unanswered_ THREADS_GUARDED_BY(
        exchange_mutex_); // written, without a final line; oldest first, as parser_ has them
    std::uint64_t heard_ THREADS_GUARDED_BY(exchange_mutex_) = 0;  // reads that brought something
    std::uint64_t finals_ THREADS_GUARDED_BY(exchange_mutex_) = 0; // final lines among it
    std::size_t strays_ THREADS_GUARDED_BY(exchange_mutex_) = 0;   // final lines that belong to no command

    AtParser parser_;                  // port thread only, as what follows
    std::array<char, 2048> input_;     // of one read; its stack would need a page more
    std::vector<IPortObserver*> told_; // its copy of observers_
    bool hung_up_ = false;             // while it runs
};
