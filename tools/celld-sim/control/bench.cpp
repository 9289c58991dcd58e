#include "control/bench.hpp"

#include "base/signals.hpp"
#include "control/control_commands.hpp"

#include <cstdio>
#include <ctime>
#include <poll.h>
#include <random>
#include <unistd.h>

namespace bench {
namespace {

constexpr auto PORT_LINK = "dev/ttyUbloxModemAT";
constexpr auto NVM_FILE = "var/celld-sim/nvm.conf";

const char* text_of(PowerControl::State state)
{
    switch (state) {
    case PowerControl::State::OFF:
        return "off";
    case PowerControl::State::BOOTING:
        return "booting";
    case PowerControl::State::ON:
        return "on";
    }
    return "";
}

Scenario scenario_of(const Options& options)
{
    return options.scenario.empty() ? Scenario{} : read_scenario(options.scenario, check_control_command);
}

} // namespace

Bench::Bench(const Options& options)
    : options_(options), transcript_(loop_.timers()),
      scenario_(loop_.timers(), transcript_, scenario_of(options),
                [this](const std::string& line) { return run_control_command(*this, line); }),
      signals_(open_signals()),
      control_(loop_, options.root,
               [this](const std::string& line) { return run_control_command(*this, line); }),
      watcher_(loop_), gpio_(options.root, options.board, watcher_),
      port_(loop_, watcher_, options.root / PORT_LINK), nvm_(options.root / NVM_FILE, options.module.family),
      module_(options.module, loop_.timers(), nvm_, transcript_, *this),
      power_(loop_.timers(), options.boot_delay, *this)
{
    loop_.watch(signals_.get(), POLLIN, [this](short) { loop_.stop(); });
    if (!options.replay.empty()) {
        module_.interpreter().replay(Replay(read_recording(options.replay)));
    }
    if (!options.transcript.empty()) {
        transcript_.open(options.transcript);
    }
    transcript_.on_note([this](std::string_view kind, EventFields fields) { scenario_.saw(kind, fields); });
    transcript_.note("bench", {options.module.family == Family::SARA ? "sara" : "toby",
                               options.board == BoardType::K7 ? "k7" : "qbx"});
    port_.on_use([this](bool opened) { transcript_.note("port", {opened ? "open" : "closed"}); });
    port_.on_receive([this](std::string_view bytes) { module_.receive(bytes); });
    gpio_.on_change([this](const GpioTree::Change& change) { line_changed(change); });
    watcher_.on_batch_end([this] { settle_lines(); });
    gpio_.drive(Line::SIMLOCK, options.sim_lock);
    gpio_.drive(Line::VINT, false);
    for (const auto line : {Line::VCC, Line::PWRON, Line::RESET}) {
        line_changed({line, gpio_.level(line), false, true}); // what a former run left
    }
    for (const auto& command : options.commands) {
        const auto answer = run_control_command(*this, command);
        if (!answer.starts_with("ok")) {
            throw BenchError(std::string("--do '").append(command).append("': ").append(answer));
        }
    }
    power_.evaluate();
}

Bench::~Bench()
{
    loop_.timers().cancel(port_timer_);
    loop_.unwatch(signals_.get());
    try {
        gpio_.drive(Line::VINT, false);
    } catch (const BenchError& error) {
        std::fprintf(stderr, "celld-sim: %s\n", error.what()); // the tree was removed under us
    }
}

void Bench::run()
{
    std::puts("celld-sim: ready");
    std::fflush(stdout);
    loop_.run();
}

void Bench::line_changed(const GpioTree::Change& change)
{
    transcript_.note("line", {text_of(change.line), change.level ? "on" : "off",
                              change.set_up   ? "set-up"
                              : change.pulsed ? "pulsed"
                                              : "written"});
    switch (change.line) {
    case Line::VCC:
        power_.set_supply(change.level, change.pulsed);
        break;
    case Line::PWRON:
        power_.set_power_on(change.level, change.pulsed);
        break;
    case Line::RESET:
        power_.set_reset(change.level, change.pulsed);
        break;
    case Line::SIMLOCK:
    case Line::VINT:
        break; // driven from here
    }
}

void Bench::settle_lines()
{
    gpio_.process();
    power_.evaluate();
}

void Bench::module_booting()
{
    transcript_.note("module", {"booting"});
}

void Bench::module_up()
{
    transcript_.note("module", {"up"});
    module_.power_up();
    gpio_.drive(Line::VINT, true);
    if (!port_dropped_) {
        port_there(true);
    }
    log('#', "module up");
}

void Bench::module_down()
{
    transcript_.note("module", {"down"});
    module_.power_down();
    if (!port_stays_) {
        gpio_.drive(Line::VINT, false);
        port_there(false); // last: whoever sees the port gone finds V_INT gone too
    }
    log('#', "module down");
}

void Bench::port_there(bool there)
{
    if (there == port_.attached()) {
        return;
    }
    transcript_.note("port", {there ? "there" : "gone"});
    if (there) {
        port_.attach();
    } else {
        port_.detach();
    }
}

std::string Bench::port_state() const
{
    if (!port_.attached()) {
        return "gone";
    }
    return port_.in_use() ? "open" : "closed";
}

void Bench::transmit(std::string_view bytes)
{
    port_.send(bytes);
}

void Bench::restart_module()
{
    port_stays_ = !options_.port_loss_on_reset;
    power_.restart();
    port_stays_ = false;
}

void Bench::switch_module_off()
{
    power_.switch_off();
}

void Bench::crash_module(const Crash& crash)
{
    if (crash.returns) {
        power_.restart(crash.boot);
    } else {
        power_.switch_off();
    }
}

void Bench::reboot()
{
    power_.restart();
}

void Bench::hang()
{
    module_.interpreter().hang();
}

void Bench::drop_port(std::optional<std::chrono::milliseconds> pause)
{
    port_dropped_ = true;
    port_there(false);
    loop_.timers().cancel(port_timer_);
    if (pause) {
        port_timer_ = loop_.timers().after(*pause, [this] { return_port(); });
    }
}

void Bench::return_port()
{
    loop_.timers().cancel(port_timer_);
    port_dropped_ = false;
    if (module_.powered()) {
        port_there(true);
    }
}

void Bench::send_garbage(std::size_t bytes)
{
    static std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> byte(0, 255);
    std::string text(bytes, '\0');
    for (auto& c : text) {
        c = static_cast<char>(byte(random));
    }
    port_.send(text);
}

std::string Bench::state() const
{
    return std::string("power=") + text_of(power_.state()) +
           " port=" + (port_.attached() ? "present" : "absent") +
           " vcc=" + (gpio_.level(Line::VCC) ? "1" : "0") +
           " pwron=" + (gpio_.level(Line::PWRON) ? "1" : "0") +
           " reset=" + (gpio_.level(Line::RESET) ? "1" : "0") +
           " vint=" + (gpio_.level(Line::VINT) ? "0" : "1") +
           " scenario_left=" + std::to_string(scenario_.left());
}

void Bench::log(char direction, const std::string& text)
{
    if (!options_.log) {
        return;
    }
    std::timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::tm fields{};
    ::gmtime_r(&now.tv_sec, &fields);
    std::printf("%02d:%02d:%02d.%03ld %c %s\n", fields.tm_hour, fields.tm_min, fields.tm_sec,
                now.tv_nsec / 1'000'000, direction, text.c_str());
    std::fflush(stdout);
}

} // namespace bench
