#pragma once

#include "base/event_loop.hpp"
#include "base/file_watcher.hpp"
#include "board/gpio_tree.hpp"
#include "board/power.hpp"
#include "board/pty_port.hpp"
#include "control/control_server.hpp"
#include "control/options.hpp"
#include "module/module.hpp"
#include "module/nvm.hpp"
#include "record/transcript.hpp"
#include "scenario/scenario_player.hpp"

#include <chrono>
#include <optional>
#include <string>

namespace bench {

/// The board: joins the GPIO lines, the supply, the port and the module's firmware on one event loop.
class Bench : private PowerObserver, private ModuleHost {
public:
    /// @throws BenchError when the tree cannot be built or another bench has it
    explicit Bench(const Options& options);
    ~Bench() override;
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// Prints that the tree stands and runs until SIGINT or SIGTERM. @throws BenchError
    void run();

    // For the control commands.
    Module& module() { return module_; }
    void sim_lock(bool level) { gpio_.drive(Line::SIMLOCK, level); }
    void drop_port(std::optional<std::chrono::milliseconds> pause); ///< nothing: until return_port()
    void return_port();
    void gpio_fault(const std::string& line, GpioFault fault) { gpio_.fault(line, fault); }
    void reboot();
    void boot_time(std::optional<std::chrono::milliseconds> time) { power_.boot_time(time); }
    std::chrono::milliseconds usual_boot_time() const { return options_.boot_delay; }
    void hang(); ///< no answers any more, not even to +CPWROFF, until the module restarts
    void send_garbage(std::size_t bytes);
    void note(const std::string& text) { transcript_.note("note", {text}); }
    void send_raw(std::string_view bytes) { port_.send(bytes); }
    std::string state() const;

private:
    void module_booting() override;
    void module_up() override;
    void module_down() override;
    void transmit(std::string_view bytes) override;
    void restart_module() override;
    void switch_module_off() override;
    void crash_module(const Crash& crash) override;
    std::string port_state() const override;
    void log(char direction, const std::string& text) override;

    void line_changed(const GpioTree::Change& change);
    void settle_lines();
    void port_there(bool there);

    Options options_;
    EventLoop loop_;
    Transcript transcript_;
    ScenarioPlayer scenario_; ///< read before the tree is touched
    FileDescriptor signals_;
    ControlServer control_; ///< first of what touches the tree: it tells whether the tree is another bench's
    FileWatcher watcher_;
    GpioTree gpio_;
    PtyPort port_;
    Nvm nvm_;
    Module module_;
    PowerControl power_;
    TimerQueue::Id port_timer_ = 0;
    bool port_dropped_ = false; ///< taken away by a test
    bool port_stays_ = false;   ///< while the module goes down for a restart that the port outlives
};

} // namespace bench
